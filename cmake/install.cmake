# What an installation holds. Components: library (the shared object), development (public header,
# CMake and pkg-config files, pages of section 3), tool (ombrine and its page), runtime (static archive
# and headers of the runtime under it, for code that is built on it).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(public_include ${CMAKE_INSTALL_INCLUDEDIR}/ombrine-audiofile)
set(runtime_include ${CMAKE_INSTALL_INCLUDEDIR}/ombrine-runtime)

# ---- Shared library ----

# Include paths start at the directory that is told to the compiler, as in the source tree.
target_include_directories(OmbrineAudiofile INTERFACE $<INSTALL_INTERFACE:${public_include}>)
set_target_properties(OmbrineAudiofile PROPERTIES EXPORT_NAME Audiofile)
install(TARGETS OmbrineAudiofile EXPORT OmbrineAudiofile
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(FILES frame/ombrine_audiofile.h DESTINATION ${public_include}/frame COMPONENT development)

# ---- Runtime ----

target_include_directories(ombrine_runtime INTERFACE $<INSTALL_INTERFACE:${runtime_include}>)
set_target_properties(ombrine_runtime PROPERTIES EXPORT_NAME Runtime)
install(TARGETS ombrine_runtime EXPORT OmbrineRuntime
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
foreach(header frame/object.h audiofile/audiofile.h audiofile/codecs.h audiofile/file_access.h
               fileproc/fileproc.h matrix/mat.h spectrum/cmat.h spectrum/fft.h
               spectrum/filter_sections.h spectrum/fv.h vector/kern.h vector/vec.h)
    get_filename_component(directory ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${runtime_include}/${directory} COMPONENT runtime)
endforeach()

# ---- For CMake ----

foreach(pair OmbrineAudiofile:development OmbrineRuntime:runtime)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 name)
    list(GET pair 1 component)
    set(directory ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
    install(EXPORT ${name} NAMESPACE Ombrine:: FILE ${name}Config.cmake DESTINATION ${directory}
            COMPONENT ${component})
    write_basic_package_version_file(${CMAKE_BINARY_DIR}/install/${name}ConfigVersion.cmake
                                     COMPATIBILITY SameMajorVersion)
    install(FILES ${CMAKE_BINARY_DIR}/install/${name}ConfigVersion.cmake DESTINATION ${directory}
            COMPONENT ${component})
endforeach()

# ---- For pkg-config ----

# The prefix is told from where the file lies, so that a whole installation can be moved.
file(RELATIVE_PATH OMBRINE_PC_PREFIX /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
foreach(pair ombrine-audiofile:development ombrine-runtime:runtime)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 name)
    list(GET pair 1 component)
    configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/install/${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/install/${name}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endforeach()

# ---- Pages of the manual ----

# Each export has a page of its own name, which is a link to the page of them all.
set(page_links Ombrine_Audiofile_Open_Read Ombrine_Audiofile_Close_Read Ombrine_Audiofile_Read
               Ombrine_Audiofile_Open_Write Ombrine_Audiofile_Write Ombrine_Audiofile_Close_Write
               Ombrine_Audiofile_Get_Revision)
set(pages ${CMAKE_BINARY_DIR}/install/man)
file(MAKE_DIRECTORY ${pages})
foreach(page libOmbrineAudiofile.3 ombrine.1)
    add_custom_command(OUTPUT ${pages}/${page}.gz
                       COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/docs/man/${page} > ${pages}/${page}.gz
                       DEPENDS docs/man/${page} VERBATIM)
endforeach()
add_custom_target(ombrine_pages ALL DEPENDS ${pages}/libOmbrineAudiofile.3.gz ${pages}/ombrine.1.gz)
foreach(link ${page_links})
    file(CREATE_LINK libOmbrineAudiofile.3.gz ${pages}/${link}.3.gz SYMBOLIC)
    install(FILES ${pages}/${link}.3.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
            COMPONENT development)
endforeach()
install(FILES ${pages}/libOmbrineAudiofile.3.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
        COMPONENT development)

# ---- Tool ----

if(OMBRINE_TOOLS)
    # Finds the library beside it wherever the installation goes; a package turns this off.
    set_target_properties(ombrine PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ombrine RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    install(FILES ${pages}/ombrine.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endif()

include(cmake/package.cmake)

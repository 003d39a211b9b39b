# Debian packages of the components, made by scripts/package: cpack -G DEB in a build directory that
# was configured with OMBRINE_PACKAGING.
option(OMBRINE_PACKAGING "Prepare for cpack: Debian's documents, no run-time search paths" OFF)
if(NOT OMBRINE_PACKAGING)
    return()
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    set(architecture amd64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(architecture arm64)
else()
    message(FATAL_ERROR "no package for the processor ${CMAKE_SYSTEM_PROCESSOR}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libombrine-audiofile)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "libOmbrineAudiofile maintainers <maintainers@ombrine.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${architecture})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENTS_ALL library development tool runtime)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libombrine-audiofile)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= 2.34)")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "reads WAVE, AIFF and AIFC files into float buffers
Seven plain C functions read WAVE, AIFF and AIFC files into one float buffer
per channel and write 16-bit WAVE files. The same file gives the same bits on
every processor. A failure prints a report and ends the process.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libombrine-audiofile-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libombrine-audiofile (= ${PROJECT_VERSION}-1)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "reads audio files into float buffers - development files
The header of libOmbrineAudiofile, its manual pages, and the files by which
CMake and pkg-config find it.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ombrine)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
    "libombrine-audiofile (= ${PROJECT_VERSION}-1), libc6 (>= 2.34), libgcc-s1 (>= 3.0), libstdc++6 (>= 12), libpng16-16 (>= 1.6.2)")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "shows, converts and pictures audio files
ombrine tells what WAVE, AIFF and AIFC files hold and how loud they are,
converts them to 16-bit WAVE, and draws spectrograms and mean spectra of them
as PNG pictures.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libombrine-runtime-dev)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6-dev")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "vector, matrix, spectral and text file operations
The runtime under libOmbrineAudiofile as a static library with its headers,
for programs in C++ that are built on it: vector kernels, dense matrices
with a constrained least-squares solver, real Fourier transforms, packed
spectra, and readers of parameter and matrix text files.")

# The loader's cache has to learn of the library; what is linked with it depends on its package.
file(WRITE ${CMAKE_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/package/triggers)

# Debian's documents, one directory a package.
file(STRINGS CHANGELOG.md dated REGEX "^## ${PROJECT_VERSION} - ")
string(REGEX REPLACE "^.* - " "" dated "${dated}")
execute_process(COMMAND date -R -u -d ${dated} OUTPUT_VARIABLE dated OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
foreach(component LIBRARY DEVELOPMENT TOOL RUNTIME)
    set(package ${CPACK_DEBIAN_${component}_PACKAGE_NAME})
    set(documents ${CMAKE_BINARY_DIR}/package/${package})
    file(WRITE ${documents}/changelog.Debian
         "${package} (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n"
         "  * See CHANGELOG.md of the source.\n\n"
         " -- ${CPACK_PACKAGE_CONTACT}  ${dated}\n")
    execute_process(COMMAND gzip -9nf ${documents}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
    file(READ LICENSE license)
    file(WRITE ${documents}/copyright "libOmbrineAudiofile\n\n${license}")
    string(TOLOWER ${component} component)
    install(FILES ${documents}/copyright ${documents}/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()
include(CPack)

// The built shared object, read as a file: what it exports, what it needs, how it is laid out in
// memory. And loaded: what its constructor does to the loading thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

static const char Library_Name[] = "libOmbrineAudiofile.so";

static const std::vector<std::string> Exports = {
    "Ombrine_Audiofile_Close_Read",   "Ombrine_Audiofile_Close_Write",
    "Ombrine_Audiofile_Get_Revision", "Ombrine_Audiofile_Open_Read",
    "Ombrine_Audiofile_Open_Write",   "Ombrine_Audiofile_Read",
    "Ombrine_Audiofile_Write",
};

// ---- The file as tables ----

struct Symbol {
    std::string name;
    uint16_t section;
    unsigned binding;
    unsigned type;
    uint16_t version;
    bool version_hidden;
};

struct SharedObject {
    std::string bytes;
    std::vector<Elf64_Phdr> segments;
    std::vector<Elf64_Dyn> dynamic;
    std::vector<Symbol> symbols;                  // dynamic ones, without the empty first
    std::map<uint16_t, std::string> defined;      // version nodes by index, the file's own left out
    std::map<uint16_t, std::string> from_library; // library that a version index is needed from
    uint64_t strings;                             // offset of the dynamic string table
};

// count entries of a type from an offset of the file.
template <class Type>
static std::vector<Type> Entries(const std::string& bytes, uint64_t offset, uint64_t count)
{
    std::vector<Type> entries;
    if (offset > bytes.size() || count > (bytes.size() - offset) / sizeof(Type)) {
        ADD_FAILURE() << "a table lies outside the file";
        return entries;
    }
    entries.resize(count);
    memcpy(entries.data(), bytes.data() + offset, count * sizeof(Type));
    return entries;
}

template <class Type> static Type Entry(const std::string& bytes, uint64_t offset)
{
    const std::vector<Type> one = Entries<Type>(bytes, offset, 1);
    return one.empty() ? Type{} : one[0];
}

static std::string String(const SharedObject& object, uint64_t offset)
{
    return object.bytes.c_str() + std::min<uint64_t>(object.strings + offset, object.bytes.size());
}

static void Read_Symbols(SharedObject* object, const Elf64_Shdr& symbols,
                         const Elf64_Shdr& versions)
{
    const uint64_t count = symbols.sh_size / sizeof(Elf64_Sym);
    const auto table = Entries<Elf64_Sym>(object->bytes, symbols.sh_offset, count);
    const auto indices = Entries<uint16_t>(object->bytes, versions.sh_offset, count);
    for (size_t i = 1; i < std::min(table.size(), indices.size()); i++) {
        object->symbols.push_back({String(*object, table[i].st_name), table[i].st_shndx,
                                   static_cast<unsigned>(ELF64_ST_BIND(table[i].st_info)),
                                   static_cast<unsigned>(ELF64_ST_TYPE(table[i].st_info)),
                                   static_cast<uint16_t>(indices[i] & 0x7FFF),
                                   (indices[i] & 0x8000) != 0});
    }
}

static void Read_Defined_Versions(SharedObject* object, const Elf64_Shdr& section)
{
    uint64_t place = section.sh_offset;
    for (uint64_t i = 0; i < section.sh_info; i++) {
        const auto node = Entry<Elf64_Verdef>(object->bytes, place);
        if ((node.vd_flags & VER_FLG_BASE) == 0) {
            const auto name = Entry<Elf64_Verdaux>(object->bytes, place + node.vd_aux);
            object->defined[node.vd_ndx] = String(*object, name.vda_name);
        }
        place += node.vd_next;
    }
}

static void Read_Needed_Versions(SharedObject* object, const Elf64_Shdr& section)
{
    uint64_t place = section.sh_offset;
    for (uint64_t i = 0; i < section.sh_info; i++) {
        const auto library = Entry<Elf64_Verneed>(object->bytes, place);
        uint64_t version_place = place + library.vn_aux;
        for (unsigned k = 0; k < library.vn_cnt; k++) {
            const auto version = Entry<Elf64_Vernaux>(object->bytes, version_place);
            object->from_library[version.vna_other] = String(*object, library.vn_file);
            version_place += version.vna_next;
        }
        place += library.vn_next;
    }
}

static SharedObject Read_Library()
{
    SharedObject object = {};
    std::ifstream file(OMBRINE_LIBRARY, std::ios::binary);
    object.bytes.assign(std::istreambuf_iterator<char>(file), {});
    const auto head = Entry<Elf64_Ehdr>(object.bytes, 0);
    EXPECT_EQ(memcmp(head.e_ident, ELFMAG, SELFMAG), 0) << OMBRINE_LIBRARY;
    EXPECT_EQ(head.e_type, ET_DYN);
    object.segments = Entries<Elf64_Phdr>(object.bytes, head.e_phoff, head.e_phnum);

    std::map<uint32_t, Elf64_Shdr> sections; // by type; each of these comes once
    for (const auto& section : Entries<Elf64_Shdr>(object.bytes, head.e_shoff, head.e_shnum)) {
        sections[section.sh_type] = section;
    }
    const uint64_t strings = sections[SHT_DYNSYM].sh_link;
    object.strings =
        Entry<Elf64_Shdr>(object.bytes, head.e_shoff + strings * sizeof(Elf64_Shdr)).sh_offset;
    object.dynamic = Entries<Elf64_Dyn>(object.bytes, sections[SHT_DYNAMIC].sh_offset,
                                        sections[SHT_DYNAMIC].sh_size / sizeof(Elf64_Dyn));
    Read_Symbols(&object, sections[SHT_DYNSYM], sections[SHT_GNU_versym]);
    Read_Defined_Versions(&object, sections[SHT_GNU_verdef]);
    Read_Needed_Versions(&object, sections[SHT_GNU_verneed]);
    return object;
}

static std::vector<uint64_t> Dynamic_Values(const SharedObject& object, int64_t tag)
{
    std::vector<uint64_t> values;
    for (const Elf64_Dyn& entry : object.dynamic) {
        if (entry.d_tag == DT_NULL) {
            break;
        }
        if (entry.d_tag == tag) {
            values.push_back(entry.d_un.d_val);
        }
    }
    return values;
}

static std::vector<std::string> Dynamic_Strings(const SharedObject& object, int64_t tag)
{
    std::vector<std::string> texts;
    for (const uint64_t offset : Dynamic_Values(object, tag)) {
        texts.push_back(String(object, offset));
    }
    return texts;
}

static std::vector<Elf64_Phdr> Segments(const SharedObject& object, uint32_t type)
{
    std::vector<Elf64_Phdr> found;
    for (const Elf64_Phdr& segment : object.segments) {
        if (segment.p_type == type) {
            found.push_back(segment);
        }
    }
    return found;
}

// ---- Names ----

TEST(SharedObject, NamesItself)
{
    const SharedObject object = Read_Library();
    EXPECT_EQ(Dynamic_Strings(object, DT_SONAME), std::vector<std::string>{Library_Name});
    EXPECT_EQ(Dynamic_Strings(object, DT_RPATH), std::vector<std::string>{});
    EXPECT_EQ(Dynamic_Strings(object, DT_RUNPATH), std::vector<std::string>{});
}

TEST(SharedObject, ExportsSevenFunctionsAndNothingElse)
{
    const SharedObject object = Read_Library();
    std::vector<std::string> exported;
    for (const Symbol& symbol : object.symbols) {
        if (symbol.section == SHN_UNDEF) {
            continue;
        }
        SCOPED_TRACE(symbol.name);
        exported.push_back(symbol.name);
        EXPECT_NE(symbol.section, SHN_ABS);
        EXPECT_EQ(symbol.binding, static_cast<unsigned>(STB_GLOBAL));
        EXPECT_EQ(symbol.type, static_cast<unsigned>(STT_FUNC));
        const auto node = object.defined.find(symbol.version);
        ASSERT_NE(node, object.defined.end()) << "under no version node";
        EXPECT_EQ(node->second, Library_Name);
        EXPECT_FALSE(symbol.version_hidden);
    }
    std::sort(exported.begin(), exported.end());
    EXPECT_EQ(exported, Exports);
    EXPECT_EQ(object.defined.size(), 1u);
}

// ---- Needs ----

TEST(SharedObject, NeedsTheCLibraryAlone)
{
    if (OMBRINE_SANITIZED) {
        GTEST_SKIP() << "the sanitizers' own run-time library is needed as well";
    }
    const SharedObject object = Read_Library();
    std::vector<std::string> allowed = {"libc.so.6", "libm.so.6"};
#if defined(__aarch64__)
    allowed.push_back("ld-linux-aarch64.so.1");
#endif
    const std::vector<std::string> needed = Dynamic_Strings(object, DT_NEEDED);
    EXPECT_FALSE(needed.empty());
    for (const std::string& library : needed) {
        EXPECT_NE(std::find(allowed.begin(), allowed.end(), library), allowed.end()) << library;
    }
    // Versions tell where a name comes from. Weak ones may stay without a definition.
    size_t imported = 0;
    for (const Symbol& symbol : object.symbols) {
        if (symbol.section != SHN_UNDEF || symbol.binding == STB_WEAK) {
            continue;
        }
        SCOPED_TRACE(symbol.name);
        const auto library = object.from_library.find(symbol.version);
        ASSERT_NE(library, object.from_library.end()) << "from no library";
        EXPECT_NE(std::find(allowed.begin(), allowed.end(), library->second), allowed.end())
            << library->second;
        EXPECT_NE(symbol.name.rfind("pthread_", 0), 0u) << "a function of the thread library";
        imported++;
    }
    EXPECT_NE(imported, 0u);
}

// ---- Memory ----

TEST(SharedObject, IsReadOnlyAfterRelocation)
{
    const SharedObject object = Read_Library();
    uint64_t flags = 0;
    uint64_t flags_1 = 0;
    for (const uint64_t value : Dynamic_Values(object, DT_FLAGS)) {
        flags |= value;
    }
    for (const uint64_t value : Dynamic_Values(object, DT_FLAGS_1)) {
        flags_1 |= value;
    }
    EXPECT_TRUE((flags & DF_BIND_NOW) != 0 || (flags_1 & DF_1_NOW) != 0 ||
                !Dynamic_Values(object, DT_BIND_NOW).empty());
    EXPECT_EQ(flags & DF_TEXTREL, 0u);
    EXPECT_TRUE(Dynamic_Values(object, DT_TEXTREL).empty());

    const std::vector<Elf64_Phdr> relro = Segments(object, PT_GNU_RELRO);
    ASSERT_EQ(relro.size(), 1u);
    EXPECT_GT(relro[0].p_memsz, 0u);
    for (const uint64_t table : Dynamic_Values(object, DT_PLTGOT)) {
        EXPECT_GE(table, relro[0].p_vaddr);
        EXPECT_LT(table, relro[0].p_vaddr + relro[0].p_memsz);
    }
}

TEST(SharedObject, HasNoMemoryBothWritableAndExecutable)
{
    const SharedObject object = Read_Library();
    const std::vector<Elf64_Phdr> loaded = Segments(object, PT_LOAD);
    EXPECT_FALSE(loaded.empty());
    for (const Elf64_Phdr& segment : object.segments) {
        SCOPED_TRACE(testing::Message() << "segment type " << segment.p_type);
        EXPECT_NE(segment.p_flags & (PF_W | PF_X), static_cast<uint32_t>(PF_W | PF_X));
    }
    const std::vector<Elf64_Phdr> stack = Segments(object, PT_GNU_STACK);
    ASSERT_EQ(stack.size(), 1u) << "without this segment the stack becomes executable";
    EXPECT_EQ(stack[0].p_flags & PF_X, 0u);
}

// ---- Loaded ----

#if defined(__aarch64__)
static constexpr uint64_t Flush_To_Zero = 0x01000000;
static constexpr uint64_t Other_Mode = 0x00C00000; // rounding towards zero

static uint64_t Float_Control()
{
    uint64_t value = 0;
    __asm__ volatile("mrs %0, fpcr" : "=r"(value));
    return value;
}

static void Set_Float_Control(uint64_t value)
{
    __asm__ volatile("msr fpcr, %0" : : "r"(value));
}
#else
static constexpr uint64_t Flush_To_Zero = 0x9FC0;
static constexpr uint64_t Other_Mode = 0x7FBF; // rounding towards zero, every sticky flag set

static uint64_t Float_Control()
{
    uint32_t value = 0;
    __asm__ volatile("stmxcsr %0" : "=m"(value));
    return value;
}

static void Set_Float_Control(uint64_t value)
{
    const uint32_t narrow = static_cast<uint32_t>(value);
    __asm__ volatile("ldmxcsr %0" : : "m"(narrow));
}
#endif

TEST(SharedObject, LoadingSetsTheWholeFloatControlRegister)
{
    const uint64_t before = Float_Control();
    Set_Float_Control(Other_Mode);
    const uint64_t changed = Float_Control();
    void* library = dlopen(OMBRINE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    const uint64_t after = Float_Control();
    Set_Float_Control(before);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(changed, Other_Mode);
    EXPECT_EQ(after, Flush_To_Zero);

    for (const std::string& name : Exports) {
        EXPECT_NE(dlvsym(library, name.c_str(), Library_Name), nullptr) << name;
    }
    EXPECT_EQ(dlsym(library, "OBJ_Malloc_C"), nullptr);
    dlclose(library);
    EXPECT_EQ(Float_Control(), before) << "unloading must not touch the register";
}

// The built shared object, as readelf tells it: what it exports, what it needs, how it is laid out
// in memory. And loaded: what its constructor does to the loading thread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <regex>
#include <string>
#include <vector>

using testing::ContainsRegex, testing::HasSubstr, testing::Not;
using Texts = std::vector<std::string>;

static const char Library_Name[] = "libOmbrineAudiofile.so";

static const Texts Exports = {
    "Ombrine_Audiofile_Close_Read",   "Ombrine_Audiofile_Close_Write",
    "Ombrine_Audiofile_Get_Revision", "Ombrine_Audiofile_Open_Read",
    "Ombrine_Audiofile_Open_Write",   "Ombrine_Audiofile_Read",
    "Ombrine_Audiofile_Write",
};

static std::string Readelf(const std::string& options)
{
    std::string text;
    FILE* pipe = popen(("readelf -W " + options + " " OMBRINE_LIBRARY).c_str(), "r");
    for (int c = getc(pipe); c != EOF; c = getc(pipe)) {
        text += static_cast<char>(c);
    }
    EXPECT_EQ(pclose(pipe), 0) << text;
    return text;
}

struct Symbol {
    std::string type, binding, section, name; // with @ or @@ and the version behind it
};

static std::vector<Symbol> Symbols()
{
    static const std::regex Line(R"(\d+: \w+ +\d+ (\w+) +(\w+) +\w+ +(\w+) ([^ \n]+))");
    const std::string text = Readelf("--dyn-syms");
    std::vector<Symbol> symbols;
    for (std::sregex_iterator match(text.begin(), text.end(), Line), end; match != end; match++) {
        symbols.push_back({match->str(1), match->str(2), match->str(3), match->str(4)});
    }
    return symbols;
}

TEST(SharedObject, ExportsSevenFunctionsAndNothingElse)
{
    Texts exported, expected;
    for (const Symbol& symbol : Symbols()) {
        if (symbol.section != "UND") {
            EXPECT_EQ(symbol.type + " " + symbol.binding, "FUNC GLOBAL") << symbol.name;
            exported.push_back(symbol.name);
        }
    }
    for (const std::string& name : Exports) {
        expected.push_back(name + "@@" + Library_Name);
    }
    EXPECT_THAT(exported, testing::UnorderedElementsAreArray(expected));
}

TEST(SharedObject, IsFoundByItsNameAlone)
{
    const std::string dynamic = Readelf("-d");
    EXPECT_THAT(dynamic, HasSubstr(std::string("soname: [") + Library_Name + "]"));
    EXPECT_THAT(dynamic, Not(ContainsRegex("R(UN)?PATH")));
}

#if !OMBRINE_SANITIZED // which brings libraries of its own
TEST(SharedObject, NeedsTheCLibraryAlone)
{
    const std::string dynamic = Readelf("-d");
    EXPECT_THAT(dynamic, HasSubstr("Shared library: [libc.so.6]"));
    static const std::regex Other(
        R"(Shared library: \[(?!(libc\.so\.6|libm\.so\.6|ld-linux-aarch64\.so\.1)\]))");
    EXPECT_FALSE(std::regex_search(dynamic, Other)) << dynamic;
    for (const Symbol& symbol : Symbols()) { // weak ones may stay without a definition
        if (symbol.section == "UND" && symbol.binding != "WEAK") {
            EXPECT_THAT(symbol.name, HasSubstr("@GLIBC_"));
            EXPECT_THAT(symbol.name, Not(HasSubstr("pthread_")));
        }
    }
}
#endif

TEST(SharedObject, HasNoMemoryBothWritableAndExecutable)
{
    EXPECT_THAT(Readelf("-d"), ContainsRegex("BIND_NOW|Flags:.* NOW"));
    EXPECT_THAT(Readelf("-d"), Not(HasSubstr("TEXTREL")));
    const std::string segments = Readelf("-l");
    EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
    EXPECT_THAT(segments, ContainsRegex("GNU_STACK .* RW "));
    EXPECT_THAT(segments, Not(HasSubstr("RWE")));
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
    return __builtin_ia32_stmxcsr();
}

static void Set_Float_Control(uint64_t value)
{
    __builtin_ia32_ldmxcsr(static_cast<uint32_t>(value));
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

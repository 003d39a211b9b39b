// The object frame: memory, messages, the stop, the load-time floating-point setting, and the
// object that the exports share.
#include "frame/exports.h"
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstddef>
#include <cstring>
#include <limits>
#include <sys/resource.h>
#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

#include "frame/ombrine_audiofile.h"

using testing::Eq;
using testing::ExitedWithCode;
using Texts = std::vector<std::string>;

// What call prints on standard error.
static std::string Printed(const std::function<void()>& call)
{
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

TEST(Memory, BlocksAreAlignedAndExhaustionStops)
{
    const struct {
        const char* name;
        void* (*take)(ObjectHeader* object, uint64_t size);
        void (*give_back)(ObjectHeader* object, void* block);
        const char* exhausted;
    } rows[] = {
        {"persistent", OBJ_Malloc_C, OBJ_Free_C, "3,10: OBJ_Malloc_C: Out of Memory"},
        {"temporary", OBJ_Malloc_T, OBJ_Free_T, "3,2: OBJ_Malloc_T: Out of temp. memory"},
    };
    for (const auto& memory : rows) {
        RecordingObject object;
        Make_Recorder(&object);
        for (const uint64_t size : {0, 1, 15, 16, 17, 300, 65537, 16 << 20}) {
            SCOPED_TRACE(std::string(memory.name) + " " + std::to_string(size));
            // Two at a time, since the first of a run may be aligned by luck.
            void* blocks[2];
            for (void*& block : blocks) {
                block = memory.take(&object.header, size);
                ASSERT_NE(block, nullptr);
                EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u);
                memset(block, 0xA5, size);
            }
            EXPECT_NE(blocks[0], blocks[1]);
            for (void* block : blocks) {
                memory.give_back(&object.header, block);
            }
        }
        EXPECT_EQ(object.reports, Texts{});
        for (const uint64_t size : {UINT64_MAX, UINT64_MAX - 15, uint64_t{1} << 63}) {
            SCOPED_TRACE(std::string(memory.name) + " " + std::to_string(size));
            Make_Recorder(&object);
            void* volatile block = nullptr;
            EXPECT_TRUE(Stops(&object, [&] { block = memory.take(&object.header, size); }));
            EXPECT_EQ(object.reports, Texts{memory.exhausted});
            memory.give_back(&object.header, block);
        }
    }
}

TEST(Messages, DefaultNamesObjectAndSeverityAndExportedNeither)
{
    const struct {
        const char* object_name; // none for the exported report
        int32_t severity, code;
        const char *text, *printed;
    } rows[] = {
        {"A", 0, 0, "t", "[A] DEBUG - t (0)\n"},
        {"A", 1, 2, "t", "[A] INFO - t (2)\n"},
        {"some object", 2, 14, "ends in a blank ", "[some object] WARN - ends in a blank  (14)\n"},
        {"A", 3, 17, "100%s %n", "[A] ERROR - 100%s %n (17)\n"},
        {"", 4, -1, "", "[] FATAL -  (4294967295)\n"},
        {"A", 5, INT32_MIN, "t", "[A] ASSERT - t (2147483648)\n"},
        {nullptr, 2, 0, "Audiofile: clipped samples during writing",
         "OmbrineAudiofile: 2,0: Audiofile: clipped samples during writing\n"},
        {nullptr, 3, 14, "Audiofile_Open_Read: Error opening ",
         "OmbrineAudiofile: 3,14: Audiofile_Open_Read: Error opening \n"},
        {nullptr, 3, 16, "%s%d", "OmbrineAudiofile: 3,16: %s%d\n"},
        {nullptr, -1, INT32_MIN, "", "OmbrineAudiofile: -1,-2147483648: \n"},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.printed);
        ObjectHeader object = OBJ_Template;
        OBJ_Set_Name(&object, c.object_name);
        EXPECT_EQ(object.name, c.object_name) << "copied instead of kept";
        ObjectHeader* const told = c.object_name == nullptr ? nullptr : &object;
        const auto report = told == nullptr ? Export_Message : object.message_callback;
        EXPECT_EQ(Printed([&] { report(told, c.severity, c.code, c.text); }), c.printed);
    }
}

TEST(Object, TemplateAndLayout)
{
    EXPECT_EQ(OBJ_Template.name, nullptr);
    EXPECT_EQ(OBJ_Template.message_callback, OBJ_Default_Message);
    EXPECT_EQ(OBJ_Template.fatal_callback, OBJ_Default_Fatal);
    EXPECT_EQ(offsetof(ObjectHeader, name), 0u);
    EXPECT_EQ(offsetof(ObjectHeader, message_callback), sizeof(void*));
    EXPECT_EQ(offsetof(ObjectHeader, fatal_callback), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(ObjectHeader), 3 * sizeof(void*));

    ObjectHeader object = OBJ_Template;
    EXPECT_EQ(Printed([&] { OBJ_Default_Fatal(&object); }), "");
}

static void Tell_And_Return(ObjectHeader* object)
{
    fprintf(stderr, "fatal callback of %s\n", object->name);
}
static void Leave_With_9(ObjectHeader*)
{
    exit(9);
}

TEST(StopDeathTest, RunsTheCallbackThenExitsWithStatus1)
{
    const struct {
        const char* name;
        bool has_object;
        FatalCallback* callback;
        int status;
        const char* printed;
    } rows[] = {
        {"no object", false, nullptr, 1, ""},
        {"no callback", true, nullptr, 1, ""},
        {"default callback", true, OBJ_Default_Fatal, 1, ""},
        {"callback that returns", true, Tell_And_Return, 1, "fatal callback of STOPPED\n"},
        {"callback that leaves", true, Leave_With_9, 9, ""},
        {"exported callback", true, Export_Fatal, 1, "OmbrineAudiofile: Exception\n"},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        ObjectHeader object = {"STOPPED", OBJ_Default_Message, c.callback};
        EXPECT_EXIT(OBJ_Fatal_Stop(c.has_object ? &object : nullptr), ExitedWithCode(c.status),
                    Eq(c.printed));
    }
}

TEST(StopDeathTest, ExhaustionUnderTheExportedObject)
{
    Export_Create_Object();
    EXPECT_EXIT(OBJ_Malloc_T(Export_Object, UINT64_MAX), ExitedWithCode(1),
                "(^|\n)OmbrineAudiofile: 3,2: OBJ_Malloc_T: Out of temp[.] memory\n"
                "OmbrineAudiofile: Exception\n$");
    Export_Release_Object();
}

TEST(SharedObject, ReleaseCountsDownAndFreesAtZero)
{
    const struct {
        const char* name;
        uint64_t count;
        bool object;
        uint64_t count_after;
        bool object_after;
    } rows[] = {
        {"never opened", 0, false, 0, false},
        {"count at 0 does not wrap, object goes", 0, true, 0, false},
        {"last close", 1, true, 0, false},
        {"one of two", 2, true, 1, true},
        {"one of very many", UINT64_MAX, true, UINT64_MAX - 1, true},
    };
    EXPECT_EQ(Export_Object, nullptr);
    EXPECT_EQ(Export_Use_Count, 0u);
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        if (c.object) {
            Export_Create_Object();
            EXPECT_STREQ(Export_Object->name, "AUDIOFILE");
            EXPECT_EQ(Export_Object->message_callback, Export_Message);
            EXPECT_EQ(Export_Object->fatal_callback, Export_Fatal);
        }
        const ObjectHeader* before = Export_Object;
        Export_Use_Count = c.count;
        Export_Release_Object();
        EXPECT_EQ(Export_Use_Count, c.count_after);
        EXPECT_EQ(Export_Object, c.object_after ? before : nullptr);
        Export_Use_Count = 0;
        Export_Release_Object();
        EXPECT_EQ(Export_Object, nullptr);
    }
}

#if defined(__SANITIZE_ADDRESS__)
#define OMBRINE_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OMBRINE_TEST_SANITIZED 1
#endif
#endif
#if defined(__x86_64__) && !defined(OMBRINE_TEST_SANITIZED)
// Neither the sanitizer's memory nor the emulator's obeys a limit on the address space.
static void Create_Without_Memory()
{
    const rlimit nothing_more = {1, 1};
    setrlimit(RLIMIT_AS, &nothing_more);
    for (size_t size = 1 << 20; size >= 8; size /= 2) {
        while (void* volatile block = malloc(size)) {
            static_cast<void>(block);
        }
    }
    Export_Create_Object();
}

TEST(SharedObjectDeathTest, NoMemoryForItExitsWithStatus1AndPrintsNothing)
{
    EXPECT_EXIT(Create_Without_Memory(), ExitedWithCode(1), Eq(""));
}
#endif

TEST(Revision, ThreeTextsBeforeAnyOpen)
{
    const char* const* table = Ombrine_Audiofile_Get_Revision();
    EXPECT_EQ(table, Export_Revision_Table);
    EXPECT_EQ(Texts(table, table + 3), (Texts{"3972", "18314", "401"}));
    EXPECT_EQ(Export_Object, nullptr);
    EXPECT_EQ(Export_Use_Count, 0u);
}

// The processor's floating-point setting without the flags that arithmetic raises.
static uint64_t Float_Setting()
{
#if defined(__aarch64__)
    uint64_t setting;
    __asm__ volatile("mrs %0, fpcr" : "=r"(setting));
    return setting;
#else
    return _mm_getcsr() & ~0x3Fu;
#endif
}

extern "C" void OBJ_Float_Mode();

TEST(FloatMode, IsSetAtLoadAndWritesTheWholeRegister)
{
    const uint64_t at_load = Float_Setting();
#if defined(__aarch64__)
    const uint64_t expected = 0x01000000;
    __asm__ volatile("msr fpcr, %0" : : "r"(uint64_t{0x00400000})); // round up
#else
    const uint64_t expected = 0x9FC0;
    _mm_setcsr(0x5FBF); // round up, denormals kept, all flags raised
#endif
    OBJ_Float_Mode();
    EXPECT_EQ(at_load, expected);
    EXPECT_EQ(Float_Setting(), expected);
}

TEST(FloatMode, SubnormalsCountAsZeroAndRoundingIsToNearest)
{
    const struct {
        const char* name;
        float a, b;
        bool add; // otherwise multiply
        float result;
    } rows[] = {
        {"subnormal product", FLT_MIN, 0.5f, false, 0.0f},
        {"negative subnormal product", -FLT_MIN, 0.5f, false, -0.0f},
        {"subnormal input", FLT_TRUE_MIN, 0x1p100f, false, 0.0f},
        {"subnormal inputs to a normal sum", 0x1.8p-127f, 0x1.8p-127f, true, 0.0f},
        {"smallest normal", FLT_MIN, 1.0f, false, FLT_MIN},
        {"rounds half to even, down", 1.0f, 0x1p-24f, true, 1.0f},
        {"rounds half to even, up", 0x1.000002p0f, 0x1p-24f, true, 0x1.000004p0f},
        {"overflow does not trap", FLT_MAX, 2.0f, false, std::numeric_limits<float>::infinity()},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        volatile float a = c.a, b = c.b;
        const float result = c.add ? a + b : a * b;
        EXPECT_EQ(memcmp(&result, &c.result, sizeof result), 0) << result;
    }
}

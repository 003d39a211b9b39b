// The fuzz target for opening and reading a file of any bytes. An input is one plain file. It is
// opened three times, twice for reading and once for changing it in place. Block sizes and the
// order of calls follow from a hash of the bytes, so one input always does the same. The checks are
// in fuzz/session.cpp.
#include "fuzz/sandbox.h"
#include "fuzz/session.h"

#include <iterator>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

constexpr uint64_t Most_Values = 8192; // of one transfer, if that is a whole frame
constexpr uint64_t Most_Asked = 16384; // of one session; a file may state 65535 channels

// ---- Choices ----

struct Dice {
    uint64_t state;
};

static Dice Make_Dice(const uint8_t* bytes, size_t size)
{
    uint64_t hash = 0xCBF29CE484222325; // FNV-1a
    for (size_t k = 0; k < size; k++) {
        hash = (hash ^ bytes[k]) * 0x100000001B3;
    }
    return {hash};
}

static uint64_t Draw(Dice* dice, uint64_t below)
{
    dice->state = dice->state * 6364136223846793005 + 1442695040888963407;
    return (dice->state >> 33) % below;
}

// Around the borders of the codecs' passes and of the vector loops.
static uint64_t Draw_Count(Dice* dice)
{
    static const uint64_t Counts[] = {0,  1,  2,  3,  4,  5,   7,   31,  32,  33,   41,  42,
                                      43, 63, 64, 65, 84, 127, 128, 129, 300, 1000, 2100};
    return Counts[Draw(dice, std::size(Counts))];
}

static uint64_t Draw_Frames(Dice* dice, uint64_t channels)
{
    const uint64_t frames = Draw_Count(dice);
    const uint64_t most = channels < Most_Values ? Most_Values / (channels + 1) + 1 : 1;
    return frames < most ? frames : most;
}

static float Draw_Scale(Dice* dice)
{
    static const float Scales[] = {1.0f, 32768.0f, 0.5f, -3.0f, 0.0f, 1e-36f};
    return Scales[Draw(dice, std::size(Scales))];
}

// ---- The roads ----

// Some words of the last read give way to others, and if there are fewer than count, more come.
static void Alter_Words(Dice* dice, uint64_t count)
{
    static const int64_t Others[] = {0, -1, 127, 128, -129, 32768, -8388609, INT64_MAX, INT64_MIN};
    const uint64_t known = Session_Words.size();
    Session_Words.resize(count < known ? known : count);
    for (uint64_t k = 0; k < count; k++) {
        if (k >= known || Draw(dice, 16) == 0) {
            Session_Words[k] = Others[Draw(dice, std::size(Others))];
        }
    }
}

// From the first frame on in blocks of one size, until the file gives no more.
static void Read_Through(Session session, Dice* dice)
{
    const uint64_t frames = Draw_Frames(dice, Session_Handle.channels);
    const float scale = Draw_Scale(dice);
    for (int block = 0; block < 16 && session.asked < Most_Asked; block++) {
        uint64_t frames_read = 0;
        if (!Session_Read_Matrix(&session, frames, scale, &frames_read)) {
            return;
        }
        if (frames_read < frames) {
            break;
        }
    }
    uint64_t got = 0;
    if (!Session_Read_Words(&session, Most_Values, &got)) {
        return;
    }
    if (Draw(dice, 8) == 0) {
        Session_Must_Stop("Audiofile_Write_LONG: File not openend for write ", [] {
            uint64_t put = 0;
            Audiofile_Write_LONG(&Sandbox_Object, &Session_Handle, Session_Words.data(), 0, &put);
        });
        return;
    }
    Session_Close(Draw(dice, 3));
}

static uint64_t Draw_Place(Dice* dice)
{
    const uint64_t frames =
        Session_Handle.channels != 0 ? Session_Handle.samples / Session_Handle.channels : 0;
    switch (Draw(dice, 10)) {
    case 0:
        return frames;
    case 1:
        return frames + 1;
    case 2:
        return UINT64_MAX;
    case 3:
        return uint64_t{1} << 62;
    case 4:
        return frames - frames / 8;
    default:
        return Draw(dice, frames < 1000 ? frames + 1 : 1000);
    }
}

// Reads of both kinds, rewinds and moves in any order.
static void Read_Around(Session session, Dice* dice)
{
    // Beyond the header's total there is nothing, and nothing to fail.
    uint64_t none = 0;
    if (!Session_Forward(&session, UINT64_MAX) || !Session_Read_Words(&session, 3, &none)) {
        return;
    }
    Session_Rewind(&session);
    for (int step = 0; step < 12 && session.asked < Most_Asked; step++) {
        uint64_t got = 0;
        bool open = true;
        switch (Draw(dice, 6)) {
        case 0:
            Session_Rewind(&session);
            break;
        case 1:
            open = Session_Forward(&session, Draw_Place(dice));
            break;
        case 2:
        case 3:
            open = Session_Read_Words(&session, Draw_Count(dice), &got);
            break;
        default:
            open = Session_Read_Matrix(&session, Draw_Frames(dice, Session_Handle.channels),
                                       Draw_Scale(dice), &got);
            break;
        }
        if (!open) {
            return;
        }
    }
    if (Draw(dice, 8) == 0) {
        Session_Must_Stop("Audiofile_Close_Write: File not openend for write ",
                          [] { Audiofile_Close_Write(&Sandbox_Object, &Session_Handle); });
        return;
    }
    // A count whose bytes no memory holds, or do not fit 64 bits.
    if (Draw(dice, 4) == 0 && Session_Handle.channels != 0) {
        const uint64_t limit = Draw(dice, 2) == 0 ? UINT64_MAX / 8 : UINT64_MAX - 1;
        const uint64_t frames = limit / Session_Handle.channels + Draw(dice, 2);
        Session_Must_Stop("OBJ_Malloc_T: Out of temp. memory", [frames] {
            uint64_t frames_read = 0;
            Audiofile_RdMatrix_FLOAT(&Sandbox_Object, &Session_Handle, nullptr, frames,
                                     &frames_read, 1.0f);
        });
        return;
    }
    Session_Close(Draw(dice, 3));
}

static void End_In_Place(Dice* dice)
{
    const bool pending = Session_Handle.block_pending == 1;
    switch (Draw(dice, 6)) {
    case 0:
        Session_Must_Stop("Audiofile_Forward: File is not opened for reading ",
                          [] { Audiofile_Forward(&Sandbox_Object, &Session_Handle, 0); });
        break;
    case 1:
        Session_Must_Stop(pending ? "Audiofile_Read_WRITE: Previous block must have been written "
                                  : "Audiofile_Read_Write_LONG: File block has to be read first! ",
                          [pending] {
                              uint64_t moved = 0;
                              (pending ? Audiofile_Read
                                       : Audiofile_Write_LONG)(&Sandbox_Object, &Session_Handle,
                                                               Session_Words.data(), 0, &moved);
                          });
        break;
    default:
        Session_Close(Draw(dice, 3));
    }
}

// Blocks read and written back in turn.
static void Change_In_Place(Session session, Dice* dice)
{
    // A place far behind the end would make a file too large to look at.
    const bool writable = session.model.data_start <= session.model.file.size() + 4096;
    for (int block = 0; block < 8 && session.asked < Most_Asked; block++) {
        uint64_t got = 0;
        const bool matrix = Draw(dice, 2) == 0;
        const float scale = Draw_Scale(dice);
        if (matrix ? !Session_Read_Matrix(&session, Draw_Frames(dice, Session_Handle.channels),
                                          scale, &got)
                   : !Session_Read_Words(&session, Draw_Count(dice), &got)) {
            return;
        }
        if (!writable) {
            break;
        }
        if (Draw(dice, 8) == 0) {
            Session_Rewind(&session);
        }
        if (Draw(dice, 8) == 0) {
            break;
        }
        const uint64_t count = Draw(dice, 8) == 0 ? Draw_Count(dice) : got;
        if (!matrix) {
            Alter_Words(dice, count);
        }
        if (matrix ? !Session_Write_Matrix(&session, got, scale)
                   : !Session_Write_Words(&session, count)) {
            return;
        }
    }
    End_In_Place(dice);
}

// The first, second or third block of an open and a read cannot be had.
static void Run_Out_Of_Memory(uint64_t number, HeaderModel expected)
{
    Sandbox_Fail_Allocation(number);
    if (number == 1) {
        expected = {"OBJ_Malloc_C: Out of Memory", 0, {}};
    }
    if (Session_Open(OM_READ, 0x00, expected)) {
        const Model model = {{}, Session_Handle.format, Session_Handle.little_endian != 0, 0, 0, 0};
        const char* refusal = Model_Read_Stop(model, false); // comes before the codec's own block
        Session_Shape_Buffers(Session_Handle.channels, 1);
        Session_Must_Stop(
            number == 2 || refusal == nullptr ? "OBJ_Malloc_T: Out of temp. memory" : refusal, [] {
                uint64_t frames_read = 0;
                Audiofile_RdMatrix_FLOAT(&Sandbox_Object, &Session_Handle,
                                         Session_Buffers.rows.data(), 1, &frames_read, 1.0f);
            });
    }
    Sandbox_Fail_Allocation(0);
}

static void Open_Thrice(const uint8_t* bytes, size_t size)
{
    const std::vector<uint8_t> file(bytes, bytes + size);
    const HeaderModel reading = Model_Open(file, "Audiofile_Open_Read: Unsupported file type ");
    const HeaderModel changing =
        Model_Open(file, "Audiofile_Open_Read_Write: Unsupported file type ");
    Dice dice = Make_Dice(bytes, size);

    if (Session_Open(OM_READ, 0xFF, reading)) {
        Read_Through(Session_Start(reading.properties, file), &dice);
        Require(Sandbox_Empty(), "nothing is left at the end");

        Session_Open(OM_READ, 0x00, reading);
        Read_Around(Session_Start(reading.properties, file), &dice);
        Require(Sandbox_Empty(), "nothing is left at the end");
        if (Draw(&dice, 8) == 0) {
            Run_Out_Of_Memory(1 + Draw(&dice, 3), reading);
        }
        Require(Session_Get_File() == file, "reading changes no file");
    }
    if (Session_Open(OM_READ_WRITE, 0x55, changing)) {
        Change_In_Place(Session_Start(changing.properties, file), &dice);
        Require(Sandbox_Empty(), "nothing is left at the end");
    }
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Session_Set_File(bytes, size);
    Open_Thrice(bytes, size);
    return 0;
}

// Text files whose streams fail, at every place, once or for good: each fault ends in a report,
// never in a number cut short, in rows missing or in lines lost.
#include "fileproc/fileproc.h"
#include "tests/engine_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>

// ---- The file that the operations find under Cookie_Path ----

static const char* const Cookie_Path = "/failing";

struct FaultyFile {
    std::string text; // to be read, or written
    size_t at, calls; // one byte a call is read
    size_t fault;     // the number of the call that fails
    bool lasting;     // and all behind it
    bool met;
    FILE* stream; // while open
};

static FaultyFile File;

static bool Fails()
{
    const size_t call = File.calls++;
    const bool fails = File.lasting ? call >= File.fault : call == File.fault;
    File.met = File.met || fails;
    errno = fails ? EIO : errno;
    return fails;
}

static ssize_t Read_Byte(void*, char* to, size_t)
{
    if (Fails()) {
        return -1;
    }
    if (File.at == File.text.size()) {
        return 0;
    }
    *to = File.text[File.at++];
    return 1;
}

static ssize_t Write_Bytes(void*, const char* from, size_t bytes)
{
    if (Fails()) {
        return 0;
    }
    File.text.append(from, bytes);
    return static_cast<ssize_t>(bytes);
}

static int Close_File(void*)
{
    File.stream = nullptr;
    return 0;
}

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode)
{
    if (strcmp(path, Cookie_Path) != 0) {
        return __real_fopen(path, mode);
    }
    EXPECT_NE(strchr(mode, 'e'), nullptr) << "left open in programs that the caller starts";
    static char buffer[16]; // so that a few lines take several writes
    File.stream = fopencookie(nullptr, mode, {Read_Byte, Write_Bytes, nullptr, Close_File});
    setvbuf(File.stream, buffer, _IOFBF, sizeof buffer);
    return File.stream;
}
}

// ---- Operations ----

static float Floats[4];
static int32_t Ints[4] = {1, -2, 345678, -4};
static float* Float_Rows[] = {Floats, Floats + 2};
static int32_t* Int_Rows[] = {Ints, Ints + 2};
static float Diagonal[2][3], Below[4];
static float* First[] = {Diagonal[0]};
static float* Second[] = {Below, Diagonal[1]};
static float** Spectra[] = {First, Second};
static std::string Fields; // what field by field was read

// Opens, runs, closes, as a caller does.
template <class Use> static void With_Fields(ObjectHeader* object, const char* path, Use use)
{
    FILE* stream = nullptr;
    FileProc_OpenPARFILE(object, path, &stream);
    use(stream);
    FileProc_ClosePARFILE(object, stream);
}

template <class Value, void (*Read)(ObjectHeader*, FILE*, const char*, Value*)>
static void Read_Field(ObjectHeader* object, const char* path, const char* format)
{
    With_Fields(object, path, [=](FILE* stream) {
        Value value = {};
        Read(object, stream, format, &value);
        Fields = std::to_string(value);
    });
}

static void Write_Fields(ObjectHeader* object, const char* path)
{
    FILE* stream = nullptr;
    FileProc_OpenPARFILE_Wr(object, path, &stream);
    fputs("# a head that the caller prints\n", stream);
    FileProc_Wrint(object, stream, "%i # the count of all gains\n", &Ints[2]);
    FileProc_Wrflt(object, stream, "%f # gain\n", &Floats[0]);
    FileProc_Wrnme(object, stream, "%s\n", "a name that is written as well");
    FileProc_ClosePARFILE_Wr(object, stream);
}

struct FaultRow {
    void (*run)(ObjectHeader* object, const char* path);
    const char* text;                 // null: it writes
    std::vector<std::string> reports; // the ends that a fault may come to, each seen at least once
};

static const char* const List = "# c\ngains: 12 34 56 # d\n";

static const FaultRow Rows[] = {
    {[](auto* o, auto* p) { FileProc_RdCoef(o, 3, p, Floats); },
     "12 -3.5e1\n56",
     {"3,17: RdCoef: error parsing /failing"}},
    {[](auto* o, auto* p) { FileProc_RdMatrixF(o, 2, 2, Float_Rows, p); },
     "12 -3.5e1\n56 78\n",
     {"3,15: RdMatrixF: Problem closing /failing"}},
    {[](auto* o, auto* p) { FileProc_RdMatrixI(o, 2, 2, Int_Rows, p); },
     "12 -34\n56 78\n",
     {"3,15: RdMatrixI: Problem closing /failing"}},
    {[](auto* o, auto* p) { FileProc_RdMatrixHFV(o, 2, 4, Spectra, p); },
     "12 0 34 0 56 0\n12 0 34 0 56 0\n12 0 34 56 78 0\n",
     {"3,14: RdMatrixHFV: error/failing"}},
    {[](auto* o, auto* p) { Read_Field<int32_t, FileProc_Rdint>(o, p, "%i"); },
     "# c\n12 # d\n",
     {"3,17: Rdint: Problem reading from file with %i"}},
    {[](auto* o, auto* p) { Read_Field<int64_t, FileProc_Rdlong>(o, p, "%ld"); },
     "12\n",
     {"3,17: Rdlong: Problem reading from file with %ld"}},
    {[](auto* o, auto* p) { Read_Field<float, FileProc_Rdflt>(o, p, "%f"); },
     "-1.5e2",
     {"3,17: Rdflt: Problem reading from file with %f"}},
    {[](auto* o, auto* p) { Read_Field<double, FileProc_RdDbl>(o, p, "%lf"); },
     "12.5\r\n",
     {"3,17: RdDbl: Problem reading from file with %lf"}},
    {[](auto* o, auto* p) { Read_Field<uint64_t, FileProc_Rdszt>(o, p, "%i"); },
     "12\n",
     {"3,17: Rdszt: Problem reading from file with %i"}},
    {[](auto* o, auto* p) {
         With_Fields(o, p, [=](FILE* stream) {
             char name[16];
             FileProc_Rdnme(o, stream, "%15s", name);
             Fields = name;
         });
     },
     "filter.txt and more\n",
     {"3,17: Rdnme: Problem reading from file with %15s"}},
    {[](auto* o, auto* p) {
         With_Fields(o, p, [=](FILE* stream) {
             uint64_t found = 0;
             FileProc_RdFloatString(o, stream, "gains:", 3, &found, Floats);
         });
     },
     List,
     {"3,17: RdFloatString: Problem reading from file with gains:"}},
    {[](auto* o, auto* p) {
         With_Fields(o, p, [=](FILE* stream) {
             uint64_t found = 0;
             FileProc_RdIntString(o, stream, "gains:", 3, &found, Ints);
         });
     },
     List,
     {"3,17: RdIntString: Problem reading from file with gains:"}},
    {[](auto* o, auto* p) { FileProc_WrCoef(o, 4, p, Floats); },
     nullptr,
     {"3,15: WrCoef: Problem closing %s/failing"}},
    {[](auto* o, auto* p) { FileProc_WrMatrixF(o, 2, 2, Float_Rows, p); },
     nullptr,
     {"3,15: WrMatrixF: Problem closing /failing"}},
    {[](auto* o, auto* p) { FileProc_WrMatrixI(o, 2, 2, Int_Rows, p); },
     nullptr,
     {"3,15: WrMatrixI: Problem closing /failing"}},
    {[](auto* o, auto* p) { FileProc_WrMatrixHFV(o, 2, 4, Spectra, p); },
     nullptr,
     {"3,15: WrMatrixHFV: Problem closing /failing"}},
    {Write_Fields,
     nullptr,
     {"3,15: ClosePARFILE_Wr: Error Closing Paramater file",
      "3,16: Wrint: Problem writing to file with %i # the count of all gains\n",
      "3,16: Wrflt: Problem writing to file with %f # gain\n",
      "3,16: Wrnme: Problem writing to file with %s\n"}},
};

// ---- Runs ----

// The reports as one text: without "FileProc_", the second of a pair right behind the first. Empty
// if the run came to its own end without one.
static std::string Reports_Of(const FaultRow& row, const char* path)
{
    RecordingObject object;
    Make_Recorder(&object);
    const bool stopped = Stops_For_Good(&object, [&] { row.run(&object.header, path); });
    std::string reports;
    for (const std::string& report : object.reports) {
        const size_t code = report.find(": ") + 2;
        const size_t prefix = report.find("FileProc_") == code ? strlen("FileProc_") : 0;
        reports.append(report, 0, reports.empty() ? code : 0).append(report, code + prefix);
    }
    EXPECT_EQ(stopped, !reports.empty());
    return reports;
}

static std::string Reports_With_Fault(const FaultRow& row, size_t fault, bool lasting)
{
    File = {row.text == nullptr ? "" : row.text, 0, 0, fault, lasting, false, nullptr};
    std::string reports = Reports_Of(row, Cookie_Path);
    if (File.stream != nullptr) {
        fclose(File.stream);
    }
    return reports;
}

static std::string Results()
{
    std::string results = Fields + File.text;
    for (const void* from : {static_cast<const void*>(Floats), static_cast<const void*>(Ints),
                             static_cast<const void*>(Below)}) {
        results.append(static_cast<const char*>(from), sizeof Floats);
    }
    return results.append(reinterpret_cast<const char*>(Diagonal), sizeof Diagonal);
}

TEST(FileProcFaults, EndInTheirReport)
{
    for (const FaultRow& row : Rows) {
        SCOPED_TRACE(row.reports[0]);
        ASSERT_EQ(Reports_With_Fault(row, SIZE_MAX, true), "");
        const std::string results = Results();
        const size_t calls = File.calls;
        std::set<std::string> seen;
        for (size_t fault = 0; fault <= calls; fault++) {
            for (const bool lasting : {false, true}) {
                SCOPED_TRACE(testing::Message() << "call " << fault << ", lasting " << lasting);
                const std::string reports = Reports_With_Fault(row, fault, lasting);
                ASSERT_EQ(File.met, fault < calls);
                if (File.met) {
                    seen.insert(reports);
                } else {
                    EXPECT_EQ(reports, "");
                    EXPECT_EQ(Results(), results);
                }
            }
        }
        EXPECT_EQ(seen, std::set<std::string>(row.reports.begin(), row.reports.end()));
    }
}

TEST(FileProcFaults, ADirectoryIsNoFile)
{
    for (const FaultRow& row : Rows) {
        if (row.text != nullptr) {
            std::string expected = row.reports[0];
            const size_t place = expected.find(Cookie_Path);
            if (place != std::string::npos) {
                expected.resize(place + 1);
            }
            EXPECT_EQ(Reports_Of(row, "/"), expected);
        }
    }
}

// Parameter files field by field: what is read, what is reported, and where the stream stands then.
#include "fileproc/fileproc.h"
#include "tests/engine_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Reports = std::vector<std::string>;

struct TextFile {
    FILE* stream;

    explicit TextFile(const std::string& text) : stream(tmpfile())
    {
        fputs(text.c_str(), stream);
        rewind(stream);
    }
    ~TextFile()
    {
        fclose(stream);
    }
    TextFile(const TextFile&) = delete;
    // What a next field finds.
    std::string Rest() const
    {
        std::string rest;
        for (int c = getc(stream); c != EOF; c = getc(stream)) {
            rest += static_cast<char>(c);
        }
        return rest;
    }
};

// Each reader with its usual format; the value as text.
struct Reader {
    const char *name, *format;
    std::string (*read)(ObjectHeader* object, FILE* stream, const char* format, bool* done);
};

template <class Value, void (*Read)(ObjectHeader*, FILE*, const char*, Value*)>
static std::string Read_As_Text(ObjectHeader* object, FILE* stream, const char* format, bool* done)
{
    static Value value; // outlives a stop
    value = 77;
    auto* recorder = reinterpret_cast<RecordingObject*>(object);
    *done = !Stops_For_Good(recorder, [=] { Read(object, stream, format, &value); });
    return testing::PrintToString(value);
}

static std::string Read_Name(ObjectHeader* object, FILE* stream, const char* format, bool* done)
{
    static char name[32];
    strcpy(name, "77");
    auto* recorder = reinterpret_cast<RecordingObject*>(object);
    *done = !Stops_For_Good(recorder, [=] { FileProc_Rdnme(object, stream, format, name); });
    return name;
}

static const Reader Int = {"Rdint", "%i", Read_As_Text<int32_t, FileProc_Rdint>};
static const Reader Long = {"Rdlong", "%ld", Read_As_Text<int64_t, FileProc_Rdlong>};
static const Reader Float = {"Rdflt", "%f", Read_As_Text<float, FileProc_Rdflt>};
static const Reader Double = {"RdDbl", "%lf", Read_As_Text<double, FileProc_RdDbl>};
static const Reader Size = {"Rdszt", "%i", Read_As_Text<uint64_t, FileProc_Rdszt>};
static const Reader Name = {"Rdnme", "%31s", Read_Name};

static const char* const Problem = ": Problem reading from file with ";
static const char* const Negative = ": Negative value read; ";

struct FieldRow {
    const char* name;
    const Reader& reader;
    const char *text, *expected, *failure, *rest;
    const char* format = reader.format;
};

static const FieldRow Field_Rows[] = {
    {"value, line feed", Int, "12\n34\n", "12", nullptr, "34\n"},
    {"value, end of file", Int, "12", "12", nullptr, ""},
    {"carriage return, the line feed stays", Int, "12\r\n34", "12", nullptr, "\n34"},
    {"word behind a blank", Int, "12 apples\n34", "12", nullptr, "34"},
    {"word behind a tab", Int, "12\tapples\n34", "12", nullptr, "34"},
    {"comment behind a blank to a carriage return", Int, "12 x\r\n34", "12", nullptr, "\n34"},
    {"comment to the end of the file", Int, "12 # x", "12", nullptr, ""},
    {"all kinds of comment", Int, "# a\n% b\n c\n\n\n12\n", "12", nullptr, ""},
    {"value behind a blank is a comment", Int, " 12\n34\n", "34", nullptr, ""},
    {"value behind a tab is none", Int, "\t12\n", "12", nullptr, ""},
    {"empty line of DOS", Int, "\r\n12\r\n", "12", nullptr, "\n"},
    {"two fields of DOS", Int, "\n\r\n-5\r\n", "-5", nullptr, "\n"},
    {"hexadecimal", Int, "0x1F\n", "31", nullptr, ""},
    {"beyond 32 bits", Int, "4294967297\n", "1", nullptr, ""},
    {"literal text in the format", Int, "gain = 3\n", "3", nullptr, "", "gain = %d"},
    {"width in the format", Int, "123 \n", "123", nullptr, "", "%3d"},
    {"letter behind", Int, "12x\n34", "77", Problem, "\n34"},
    {"semicolon behind", Int, "12;\n", "77", Problem, "\n"},
    {"# behind", Int, "12# x\n", "77", Problem, " x\n"},
    {"fraction of an integer", Int, "1.5\n", "77", Problem, "5\n"},
    {"word", Int, "twelve\n", "77", Problem, "twelve\n"},
    {"empty file", Int, "", "77", Problem, ""},
    {"comments alone", Int, "# a\n# b\n", "77", Problem, ""},
    {"comment without a line feed", Int, "# a", "77", Problem, ""},
    {"other literal text", Int, "gaim = 3\n", "77", Problem, "m = 3\n", "gain = %d"},
    {"below 32 bits", Long, "-9223372036854775808\n", "-9223372036854775808", nullptr, ""},
    {"no long", Long, "x", "77", Problem, "x"},
    {"float", Float, "-1.25e2 dB\n", "-125", nullptr, ""},
    {"float, nothing behind the point", Float, "3.\n", "3", nullptr, ""},
    {"two points", Float, "3.5.1\n", "77", Problem, "1\n"},
    {"double", Double, "0.1\n", "0.1", nullptr, ""},
    {"no double", Double, "#\n", "77", Problem, ""},
    {"size", Size, "2147483647\n", "2147483647", nullptr, ""},
    {"size of 0", Size, "0\n", "0", nullptr, ""},
    {"negative size", Size, "-1\n5", "77", Negative, "5"},
    {"negative size with a letter", Size, "-1x\n5", "77", Problem, "\n5"},
    {"name", Name, "# n\nfilter.txt; and more\r\n5", "filter.txt;", nullptr, "5"},
    {"name, end of file", Name, "x", "x", nullptr, ""},
    {"width of a name", Name, "0123456789\n5", "0123", nullptr, "5", "%4s"},
    {"no name", Name, "\n# x", "77", Problem, ""},
};

TEST(FileProcFields, ReadsOneFieldALine)
{
    for (const FieldRow& row : Field_Rows) {
        SCOPED_TRACE(row.name);
        const TextFile text(row.text);
        RecordingObject object;
        Make_Recorder(&object);
        bool done = false;
        EXPECT_EQ(row.reader.read(&object.header, text.stream, row.format, &done), row.expected);
        EXPECT_EQ(text.Rest(), row.rest);
        EXPECT_EQ(done, row.failure == nullptr);
        const Reports expected =
            row.failure == nullptr
                ? Reports{}
                : Reports{"3,17: FileProc_" + std::string(row.reader.name) + row.failure,
                          "3,17: " + std::string(row.format)};
        EXPECT_EQ(object.reports, expected);
    }
}

// ---- Lists ----

struct ListRow {
    const char *name, *text, *tag;
    uint64_t count;
    std::vector<int> floats; // 77: left alone
    const char *float_report, *float_rest;
    std::vector<int> ints;
    const char *int_report, *int_rest;
};

static const char* const Fewer =
    "2,17: FileProc_RdFloatString: Fewer values read from file than requested at";
static const char* const No_Floats =
    "3,17: FileProc_RdFloatString: Problem reading from file with ";
static const char* const No_Ints = "3,17: FileProc_RdIntString: Problem reading from file with ";

static const ListRow List_Rows[] = {
    {"whole list", "gains: 1 2 3\n4", "gains:", 3, {1, 2, 3}, "", "4", {1, 2, 3}, "", "4"},
    {"blanks behind the tag", "gains: 1 2\n", "gains:  ", 2, {1, 2}, "", "", {1, 2}, "", ""},
    {"any text before the mark", "gainz: 1 2\n", "gains:", 2, {1, 2}, "", "", {1, 2}, "", ""},
    {"the second of two marks", "a=b= 1 2\n", "x=y=", 2, {1, 2}, "", "", {1, 2}, "", ""},
    {"comment, text", "# c\ng: 1 2 # d\n4", "g:", 2, {1, 2}, "", "4", {1, 2}, "", "4"},
    {"over two lines", "g: 1\n2 3\n4", "g:", 3, {1, 2, 3}, "", "4", {1, 2, 3}, "", "4"},
    {"a word ends it", "g: 1 2 end\n4", "g:", 3, {1, 2}, Fewer, "end\n4", {1, 2}, No_Ints, "nd\n4"},
    {"the end of the file ends it", "g: 1 2", "g:", 3, {1, 2}, Fewer, "", {1, 2}, "", ""},
    {"no number", "g:\nend", "g:", 3, {}, "", "end", {}, No_Ints, "nd"},
    {"count of 0", "g: 1\n4", "g:", 0, {}, "", "4", {}, "", "4"},
    {"count of 0, letter behind", "g:x\n4", "g:", 0, {}, "", "4", {}, No_Ints, "\n4"},
    {"letter behind the last", "g: 1 2x\n4", "g:", 2, {1, 2}, "", "4", {1, 2}, No_Ints, "\n4"},
    {"octal and hexadecimal", "g: 010 0x10\n4", "g:", 2, {10, 16}, "", "4", {8, 16}, "", "4"},
    {"no mark in the line", "g 1\n: 2", "g:", 1, {-1}, No_Floats, ": 2", {-1}, No_Ints, ": 2"},
    {"one mark of two", "a= 1\n=", "x=y=", 1, {-1}, No_Floats, "=", {-1}, No_Ints, "="},
    {"empty file", "", "g:", 1, {-1}, No_Floats, "", {-1}, No_Ints, ""},
    {"a mark beyond ASCII", "g\xE9 1\n", "g\xE9", 1, {1}, "", "", {1}, "", ""},
};

// Expected of {-1}: the out count is as it was.
template <class Value, class Read>
static void Check_List(const ListRow& row, Read read, const std::vector<int>& expected,
                       const std::string& report, const char* rest)
{
    SCOPED_TRACE(row.name);
    const TextFile text(row.text);
    RecordingObject object;
    Make_Recorder(&object);
    std::vector<Value> values(8, Value{77});
    uint64_t found = 99;
    const bool stopped = Stops_For_Good(&object, [&] {
        read(&object.header, text.stream, row.tag, row.count, &found, values.data());
    });
    EXPECT_EQ(text.Rest(), rest);
    EXPECT_EQ(stopped, !report.empty() && report[0] == '3');
    EXPECT_EQ(object.reports,
              report.empty() ? Reports{} : (Reports{report, report.substr(0, 6) + row.tag}));
    const bool none = expected == std::vector<int>{-1};
    EXPECT_EQ(found, none ? 99 : expected.size());
    for (size_t i = 0; i < values.size(); i++) {
        EXPECT_EQ(values[i], static_cast<Value>(!none && i < expected.size() ? expected[i] : 77))
            << i;
    }
}

TEST(FileProcFields, ReadsTaggedLists)
{
    for (const ListRow& row : List_Rows) {
        Check_List<float>(row, FileProc_RdFloatString, row.floats, row.float_report,
                          row.float_rest);
        Check_List<int32_t>(row, FileProc_RdIntString, row.ints, row.int_report, row.int_rest);
    }
}

TEST(FileProcFields, RefusesTagsWithoutAMarkBehindText)
{
    for (const char* tag : {"", " ", "   ", ":", ":  "}) {
        for (const bool floats : {false, true}) {
            const TextFile text("# comment\n: 1\n");
            RecordingObject object;
            Make_Recorder(&object);
            uint64_t found = 99;
            int32_t ints[1];
            float values[1];
            EXPECT_TRUE(Stops_For_Good(&object, [&] {
                floats ? FileProc_RdFloatString(&object.header, text.stream, tag, 1, &found, values)
                       : FileProc_RdIntString(&object.header, text.stream, tag, 1, &found, ints);
            }));
            EXPECT_EQ(object.reports,
                      Reports{std::string("3,10: FileProc_Rd") + (floats ? "Float" : "Int") +
                              "String: str must not be empty."});
            EXPECT_EQ(text.Rest(), ": 1\n"); // comments were skipped before
            EXPECT_EQ(found, 99u);
        }
    }
}

TEST(FileProcFields, ReportsAListBeyondMemory)
{
    for (const uint64_t count : {uint64_t{1} << 61, uint64_t{1} << 62, UINT64_MAX}) {
        const TextFile text("g: 1\n");
        RecordingObject object;
        Make_Recorder(&object);
        uint64_t found = 99;
        float values[1];
        EXPECT_TRUE(Stops_For_Good(&object, [&] {
            FileProc_RdFloatString(&object.header, text.stream, "g:", count, &found, values);
        }));
        EXPECT_EQ(object.reports, Reports{"3,2: OBJ_Malloc_T: Out of temp. memory"});
    }
}

// ---- Writing, opening, closing ----

TEST(FileProcFields, WritesWhatItReads)
{
    RecordingObject object;
    Make_Recorder(&object);
    ObjectHeader* const header = &object.header;
    const std::string path = Scratch_Path("parameters.txt");
    FILE* stream = nullptr;
    FileProc_OpenPARFILE_Wr(header, path.c_str(), &stream);
    const int32_t count = -5;
    const float gain = 0.1f;
    FileProc_Wrint(header, stream, "%i # count\n", &count);
    FileProc_Wrflt(header, stream, "%.9g\n", &gain);
    FileProc_Wrnme(header, stream, "%s\n", "filter.txt");
    FileProc_ClosePARFILE_Wr(header, stream);
    const std::string text = "-5 # count\n0.100000001\nfilter.txt\n";
    EXPECT_EQ(Read_File(path), Bytes(text.begin(), text.end()));

    FileProc_OpenPARFILE(header, path.c_str(), &stream);
    int32_t count_read = 0;
    float gain_read = 0.0f;
    char name_read[16];
    FileProc_Rdint(header, stream, "%i", &count_read);
    FileProc_Rdflt(header, stream, "%f", &gain_read);
    FileProc_Rdnme(header, stream, "%15s", name_read);
    FileProc_ClosePARFILE(header, stream);
    EXPECT_EQ(count_read, count);
    EXPECT_EQ(gain_read, gain);
    EXPECT_STREQ(name_read, "filter.txt");
    EXPECT_EQ(object.reports, Reports{});
}

static FILE* Stream;

// A stream whose descriptor is gone: it can be closed no more.
static FILE* Pulled()
{
    FILE* stream = fopen("/dev/null", "r");
    close(fileno(stream));
    return stream;
}

struct StopRow {
    const char *report, *second;
    void (*run)(ObjectHeader* object);
};

static const StopRow Stop_Rows[] = {
    {"3,14: FileProc_OpenPARFILE: Error opening ", "3,14: /nowhere/x",
     [](auto* o) { FileProc_OpenPARFILE(o, "/nowhere/x", &Stream); }},
    {"3,14: FileProc_OpenPARFILE_Wr: Error opening ", "3,14: /nowhere/x",
     [](auto* o) { FileProc_OpenPARFILE_Wr(o, "/nowhere/x", &Stream); }},
    {"3,15: FileProc_ClosePARFILE: Error Closing Parameter file", nullptr,
     [](auto* o) { FileProc_ClosePARFILE(o, Pulled()); }},
    {"3,15: FileProc_ClosePARFILE_Wr: Error Closing Paramater file", nullptr,
     [](auto* o) { FileProc_ClosePARFILE_Wr(o, Pulled()); }},
};

TEST(FileProcFields, StopsWithAReport)
{
    for (const StopRow& row : Stop_Rows) {
        SCOPED_TRACE(row.report);
        RecordingObject object;
        Make_Recorder(&object);
        EXPECT_TRUE(Stops_For_Good(&object, [&] { row.run(&object.header); }));
        EXPECT_EQ(object.reports,
                  row.second == nullptr ? Reports{row.report} : (Reports{row.report, row.second}));
    }
}

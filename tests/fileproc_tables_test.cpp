// Coefficient and matrix files: readers on all shapes of text, exact bytes of the writers, and what
// other programs make of them.
#include "fileproc/fileproc.h"
#include "tests/engine_fixture.h"
#include "tests/matrix_fixture.h"

#include <numeric>

using Reports = std::vector<std::string>;
using Floats = std::vector<float>;

static std::string Text_Of(const std::string& path)
{
    const Bytes bytes = Read_File(path);
    return {bytes.begin(), bytes.end()};
}

static std::string Text_File(const std::string& text)
{
    const std::string path = Scratch_Path("table.txt");
    Write_File(path, Bytes(text.begin(), text.end()));
    return path;
}

// rows by columns elements of a value, with a guard behind each row.
template <class Value> struct Table {
    uint64_t columns;
    std::vector<std::vector<Value>> each;
    std::vector<Value*> m;

    Table(uint64_t rows, uint64_t columns_, Value value = 77)
        : columns(columns_), each(rows, std::vector<Value>(columns + 1, value)), m(rows + 1)
    {
        for (uint64_t i = 0; i < rows; i++) {
            each[i][columns] = 55;
            m[i] = each[i].data();
        }
    }
    std::vector<Value> Flat() const
    {
        std::vector<Value> flat;
        for (const auto& row : each) {
            EXPECT_EQ(row[columns], 55) << "guard";
            flat.insert(flat.end(), row.begin(), row.end() - 1);
        }
        return flat;
    }
};

// ---- Readers ----

// Runs call(object, path) of FileProc_<name>; true if it stops. Reports are told without the name,
// which stands behind the severity and code, and without the path, the second of each pair.
static bool Check_Call(const char* name, const std::string& path, const Reports& texts,
                       const std::function<void(ObjectHeader*, const char*)>& call)
{
    Reports expected;
    for (const std::string& text : texts) {
        const std::string code = text.substr(0, text.find(' ') + 1);
        expected.push_back(code + "FileProc_" + name + ": " + text.substr(code.size()));
        expected.push_back(code + path);
    }
    RecordingObject object;
    Make_Recorder(&object);
    const int descriptors = Open_Descriptors();
    const bool stopped = Stops_For_Good(&object, [&] { call(&object.header, path.c_str()); });
    EXPECT_EQ(object.reports, expected);
    EXPECT_EQ(stopped, !texts.empty() && texts.back()[0] == '3');
    EXPECT_TRUE(stopped || Open_Descriptors() == descriptors);
    return stopped;
}

static const char* const Word = "3,17: error parsing ";
static const char* const Dos = "3,14: DOS file? ";
static const char* const Few_Columns = "2,17: Too few columns in ";
static const char* const Many_Columns = "2,17: Too many columns in ";
static const char* const Few_Rows = "2,17: Too few rows in ";
static const char* const Many_Rows = "2,17: Too many rows in ";

static Reports Without_Many_Columns(Reports reports)
{
    std::erase(reports, Many_Columns);
    return reports;
}

struct MatrixRow {
    const char* name;
    uint64_t rows, columns;
    const char* text;
    Floats floats; // empty: the call stops
    Reports float_reports = {};
    Floats ints = floats;
    Reports int_reports = Without_Many_Columns(float_reports);
};

static const MatrixRow Matrix_Rows[] = {
    {"whole", 2, 2, "1 2\n3 4\n", {1, 2, 3, 4}},
    {"as written", 2, 2, "1\t2\t\n3 4 \n", {1, 2, 3, 4}},
    {"no last line feed", 2, 2, "1 2\n3 4", {1, 2, 3, 4}},
    {"empty lines and white space before", 2, 2, "\n\n  1 2\n \t\n3 4\n\n\n", {1, 2, 3, 4}},
    {"empty file", 2, 1, "", {0, 0}, {Few_Rows}},
    {"white space alone", 1, 2, " \n\t\n", {0, 0}, {Few_Rows}},
    {"three short rows", 3, 2, "1\n2 \n3\t\n", {1, 0, 2, 0, 3, 0}, {Few_Columns}},
    {"last row short, no line feed", 2, 2, "1 2\n3", {1, 2, 3, 0}, {Few_Columns}},
    {"last row short, blank, no line feed", 2, 2, "1 2\n3 ", {1, 2, 3, 0}, {Few_Columns}},
    {"surplus column", 2, 1, "1 9\n3 9\n", {1, 3}, {Many_Columns}},
    {"surplus column, then none", 2, 1, "1 9\n3\n", {1, 3}, {Many_Columns}},
    {"a word as surplus", 1, 1, "1 nine\n", {1}, {Many_Columns}},
    {"letters right behind the last", 1, 1, "1x\n", {1}, {Many_Columns}},
    {"row missing", 2, 2, "1 2\n", {1, 2, 0, 0}, {Few_Rows}},
    {"surplus row", 1, 2, "1 2\n3 4\n", {1, 2}, {Many_Rows}},
    {"word behind the last row", 1, 2, "1 2\nend\n", {1, 2}, {Many_Rows}, {1, 2}, {}},
    // All warnings but one.
    {"more", 2, 2, "1\n2 3 4\n5\n", {1, 0, 2, 3}, {Few_Columns, Many_Columns, Many_Rows}},
    {"fewer", 3, 2, "1\n2 3 4\n", {1, 0, 2, 3, 0, 0}, {Few_Columns, Many_Columns, Few_Rows}},
    {"a word for a number", 2, 2, "1 two\n", {}, {Word}},
    {"a word at the start", 1, 1, "one\n", {}, {Word}},
    {"a fraction among integers", 1, 2, "1.5 2\n", {1.5f, 2}, {}, {}, {Word}},
    {"DOS", 2, 2, "1 2\r\n3 4\r\n", {}, {Dos}, {1, 2, 3, 4}, {}},
    {"DOS, blank before the line end", 1, 1, "1 \r\n", {}, {Dos}, {1}, {}},
    {"DOS, a carriage return behind a surplus", 1, 1, "1 9\r\n", {1}, {Many_Columns}},
    {"DOS, short row goes on", 2, 2, "1\r\n2 3\r\n", {}, {Dos}, {1, 2, 0, 0}, {Few_Rows}},
    {"DOS, short row at the end", 2, 2, "1 2\r\n3\r\n", {}, {Dos}, {1, 2, 0, 0}, {Few_Rows}},
    {"no columns", 2, 0, "1 2\n3 4\n", {}},
    {"no rows", 0, 2, "1 2\n", {}, {Many_Rows}},
    {"no rows, empty file", 0, 2, "", {}},
    {"beyond 32 bits", 1, 1, "4294967297\n", {4294967296}, {}, {1}, {}},
    {"all notations", 1, 4, "+1 -0x10 010 -2\n", {1, -16, 10, -2}, {}, {1, -16, 8, -2}},
};

template <class Value> static void Check_Matrix(const MatrixRow& row, const char* name, auto read,
                                                const Floats& expected, const Reports& reports)
{
    SCOPED_TRACE(testing::Message() << row.name << ", " << name);
    Table<Value> table(row.rows, row.columns);
    if (!Check_Call(name, Text_File(row.text), reports, [&](auto* object, auto* path) {
            read(object, row.rows, row.columns, table.m.data(), path);
        })) {
        EXPECT_EQ(table.Flat(), std::vector<Value>(expected.begin(), expected.end()));
    }
}

TEST(FileProcTables, ReadsMatricesOfAnyShape)
{
    for (const MatrixRow& row : Matrix_Rows) {
        Check_Matrix<float>(row, "RdMatrixF", FileProc_RdMatrixF, row.floats, row.float_reports);
        Check_Matrix<int32_t>(row, "RdMatrixI", FileProc_RdMatrixI, row.ints, row.int_reports);
    }
}

struct CoefRow {
    const char* name;
    uint64_t count;
    const char* text;
    Floats expected; // empty and a report: the call stops
    Reports reports = {};
};

static const CoefRow Coef_Rows[] = {
    {"a list", 3, "1\n2.5\n-3e2\n", {1, 2.5f, -300}},
    {"any white space", 3, " 1\t2\r\n\n 3", {1, 2, 3}},
    {"more values", 2, "1 2 three", {1, 2}},
    {"fewer values", 3, "1 2\n", {1, 2, 0}, {"2,17: Too few values in "}},
    {"empty file", 2, "", {0, 0}, {"2,17: Too few values in "}},
    {"a word", 3, "1 two 3", {}, {Word}},
    {"none wanted", 0, "x", {}},
};

TEST(FileProcTables, ReadsCoefficients)
{
    for (const CoefRow& row : Coef_Rows) {
        SCOPED_TRACE(row.name);
        Table<float> values(1, row.count);
        const bool stopped =
            Check_Call("RdCoef", Text_File(row.text), row.reports, [&](auto* object, auto* path) {
                FileProc_RdCoef(object, row.count, path, values.m[0]);
            });
        EXPECT_EQ(values.Flat(), stopped ? Floats(row.count, 77) : row.expected);
    }
}

// ---- Spectra: two channels of length 4 ----

static const char* const Spectra_Text = "1 0 2 0 3 0\n"
                                        "4 0 5 0 6 0\n"
                                        "7 99 8 9 10 99\n";
static const char* const Hfv_Error = "3,14: error";
static const char* const Hfv_Format = "3,14: format error";

struct SpectraRow {
    const char* name;
    uint64_t n;
    std::string text;
    Reports reports;
};

static const SpectraRow Spectra_Rows[] = {
    {"whole", 4, Spectra_Text, {}},
    {"one line, and more behind", 4, "1 0 2 0 3 0 4 -0 5 0 6 0 7 1 8 9 10 1 end", {}},
    {"imaginary part on the diagonal", 4, "1 0 2 1e-20 3 0\n", {Hfv_Format}},
    {"NaN on the diagonal", 4, "1 nan\n", {Hfv_Format}},
    {"cut short on the diagonal", 4, "1 0 2", {Hfv_Error}},
    {"cut short behind a first number", 4, "1 0 2 0 3", {Hfv_Error}},
    {"last number missing", 4, std::string(Spectra_Text).substr(0, 34), {Hfv_Error}},
    {"a word", 4, "1 0 two", {Hfv_Error}},
    {"empty file", 4, "", {Hfv_Error}},
    {"odd length", 3, Spectra_Text, {Hfv_Format}},
    {"no length", 0, Spectra_Text, {Hfv_Format}},
    {"length beyond 32 bits", uint64_t{1} << 32, Spectra_Text, {Hfv_Format}},
};

struct Spectra {
    Table<float> diagonal = Table<float>(2, 3), below = Table<float>(1, 4);
    float* first[1] = {diagonal.m[0]};
    float* second[2] = {below.m[0], diagonal.m[1]};
    float** rows[2] = {first, second};
};

TEST(FileProcTables, ReadsSpectra)
{
    for (const SpectraRow& row : Spectra_Rows) {
        SCOPED_TRACE(row.name);
        Spectra spectra;
        if (!Check_Call("RdMatrixHFV", Text_File(row.text), row.reports, [&](auto* o, auto* path) {
                FileProc_RdMatrixHFV(o, 2, row.n, spectra.rows, path);
            })) {
            EXPECT_EQ(spectra.diagonal.Flat(), (Floats{1, 2, 3, 4, 5, 6}));
            EXPECT_EQ(spectra.below.Flat(), (Floats{7, 10, 8, 9}));
        }
    }
}

// ---- Writers ----

struct WriterRow {
    const char* name;
    void (*write)(ObjectHeader* object, const char* path);
    const char* bytes;
};

static const Table<float> Halves(2, 2, 0.5f);
static const Table<int32_t> Least(2, 2, INT32_MIN), No_Columns(2, 0);

static const WriterRow Writer_Rows[] = {
    {"WrCoef",
     [](auto* o, auto* path) {
         FileProc_WrCoef(o, 3, path, Floats{1, -0.1f, 3.4e38f}.data());
     },
     "1.000000e+00\n-1.000000e-01\n3.400000e+38\n"},
    {"WrMatrixF", [](auto* o, auto* path) { FileProc_WrMatrixF(o, 2, 2, Halves.m.data(), path); },
     "5.000000e-01\t5.000000e-01\t\n5.000000e-01\t5.000000e-01\t\n"},
    {"WrMatrixI", [](auto* o, auto* path) { FileProc_WrMatrixI(o, 2, 2, Least.m.data(), path); },
     "-2147483648 -2147483648 \n-2147483648 -2147483648 \n"},
    {"WrMatrixHFV",
     [](auto* o, auto* path) {
         Spectra spectra;
         std::iota(spectra.below.m[0], spectra.below.m[0] + 4, 1.0f);
         FileProc_WrMatrixHFV(o, 2, 4, spectra.rows, path);
     },
     "7.700000e+01\t0.000000e+00\t7.700000e+01\t0.000000e+00\t7.700000e+01\t0.000000e+00\t\n"
     "7.700000e+01\t0.000000e+00\t7.700000e+01\t0.000000e+00\t7.700000e+01\t0.000000e+00\t\n"
     "1.000000e+00\t0.000000e+00\t3.000000e+00\t4.000000e+00\t2.000000e+00\t0.000000e+00\t\n"},
    {"WrCoef", [](auto* o, auto* path) { FileProc_WrCoef(o, 0, path, nullptr); }, ""},
    {"WrMatrixF", [](auto* o, auto* path) { FileProc_WrMatrixF(o, 0, 3, nullptr, path); }, ""},
    {"WrMatrixI",
     [](auto* o, auto* path) { FileProc_WrMatrixI(o, 2, 0, No_Columns.m.data(), path); }, "\n\n"},
};

TEST(FileProcTables, WritesTheseBytes)
{
    for (const WriterRow& row : Writer_Rows) {
        SCOPED_TRACE(row.name);
        const std::string path = Text_File("old text");
        Check_Call(row.name, path, {}, row.write);
        EXPECT_EQ(Text_Of(path), row.bytes);
        Check_Call(row.name, "/nowhere/x", {"3,14: Problem opening "}, row.write);
    }
}

TEST(FileProcTables, ReportsFilesThatDoNotOpen)
{
    Table<float> floats(1, 1);
    Table<int32_t> ints(1, 1);
    Spectra spectra;
    const auto check = [](const char* name, auto read) {
        Check_Call(name, "/nowhere/x", {"3,14: Problem opening "}, read);
    };
    check("RdCoef", [&](auto* o, auto* path) { FileProc_RdCoef(o, 1, path, floats.m[0]); });
    check("RdMatrixF",
          [&](auto* o, auto* path) { FileProc_RdMatrixF(o, 1, 1, floats.m.data(), path); });
    check("RdMatrixI",
          [&](auto* o, auto* path) { FileProc_RdMatrixI(o, 1, 1, ints.m.data(), path); });
    check("RdMatrixHFV",
          [&](auto* o, auto* path) { FileProc_RdMatrixHFV(o, 1, 4, spectra.rows, path); });
}

// ---- Round trips ----

TEST(FileProcTables, ReadsWhatItWrote)
{
    RecordingObject object;
    Make_Recorder(&object);
    ObjectHeader* const header = &object.header;
    const std::string path = Scratch_Path("round.txt");
    Random random = {4};
    // Whole numbers of less than seven digits come back from the six behind the point.
    const auto value = [&] {
        return static_cast<float>(static_cast<int64_t>(Random_Word(&random) % 2000001) - 1000000) /
               64.0f;
    };
    Table<float> source(5, 7);
    Table<int32_t> ints(5, 7);
    for (uint64_t i = 0; i < 35; i++) {
        source.m[i / 7][i % 7] = std::round(value());
        ints.m[i / 7][i % 7] = static_cast<int32_t>(Random_Word(&random));
    }
    Table<float> floats_read(5, 7);
    FileProc_WrMatrixF(header, 5, 7, source.m.data(), path.c_str());
    FileProc_RdMatrixF(header, 5, 7, floats_read.m.data(), path.c_str());
    EXPECT_EQ(floats_read.Flat(), source.Flat());
    Table<int32_t> ints_read(5, 7);
    FileProc_WrMatrixI(header, 5, 7, ints.m.data(), path.c_str());
    FileProc_RdMatrixI(header, 5, 7, ints_read.m.data(), path.c_str());
    EXPECT_EQ(ints_read.Flat(), ints.Flat());
    Table<float> list(1, 7);
    FileProc_WrCoef(header, 7, path.c_str(), source.m[3]);
    FileProc_RdCoef(header, 7, path.c_str(), list.m[0]);
    EXPECT_TRUE(std::equal(list.m[0], list.m[0] + 7, source.m[3]));
    Spectra spectra;
    std::copy_n(source.m[0], 4, spectra.below.m[0]);
    std::copy_n(source.m[1], 3, spectra.diagonal.m[1]);
    Spectra read;
    FileProc_WrMatrixHFV(header, 2, 4, spectra.rows, path.c_str());
    FileProc_RdMatrixHFV(header, 2, 4, read.rows, path.c_str());
    EXPECT_EQ(read.diagonal.Flat(), spectra.diagonal.Flat());
    EXPECT_EQ(read.below.Flat(), spectra.below.Flat());
    EXPECT_EQ(object.reports, Reports{});
}

// ---- numpy ----

// Runs a script with path as sys.argv[1]; what it prints.
static std::string Python(const std::string& script, const std::string& path)
{
    const std::string command = "/usr/bin/python3 -c '" + script + "' " + path + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    for (int c = getc(pipe); c != EOF; c = getc(pipe)) {
        out += static_cast<char>(c);
    }
    pclose(pipe);
    return out;
}

TEST(FileProcTables, SharesFilesWithNumpy)
{
    ASSERT_EQ(Python("import numpy", ""), "")
        << "python3-numpy is needed, as scripts/test installs it";
    RecordingObject object;
    Make_Recorder(&object);
    const std::string path = Scratch_Path("numpy.txt");
    Table<float> floats(2, 3);
    Table<int32_t> ints(2, 3);
    Table<float> list(1, 3);
    const std::string save = "import numpy, sys; numpy.savetxt(sys.argv[1], numpy.";
    EXPECT_EQ(Python(save + "array([[1,-2.5,1e-3],[4e20,0.1,6]], numpy.float32))", path), "");
    FileProc_RdMatrixF(&object.header, 2, 3, floats.m.data(), path.c_str());
    EXPECT_EQ(floats.Flat(), (Floats{1, -2.5f, 1e-3f, 4e20f, 0.1f, 6}));
    EXPECT_EQ(Python(save + "arange(-3, 3).reshape(2, 3), \"%i\", \"\\t\")", path), "");
    FileProc_RdMatrixI(&object.header, 2, 3, ints.m.data(), path.c_str());
    EXPECT_EQ(ints.Flat(), (std::vector<int32_t>{-3, -2, -1, 0, 1, 2}));
    EXPECT_EQ(Python(save + "array([0.25, 1, -7]))", path), "");
    FileProc_RdCoef(&object.header, 3, path.c_str(), list.m[0]);
    EXPECT_EQ(list.Flat(), (Floats{0.25f, 1, -7}));

    const std::string load = "import numpy, sys; a = numpy.loadtxt(sys.argv[1])";
    const std::string whole = load + "; print(a.shape, a.ravel().tolist())";
    FileProc_WrMatrixF(&object.header, 2, 3, floats.m.data(), path.c_str());
    EXPECT_EQ(Python(whole, path), "(2, 3) [1.0, -2.5, 0.001, 4e+20, 0.1, 6.0]\n");
    FileProc_WrMatrixI(&object.header, 2, 3, ints.m.data(), path.c_str());
    EXPECT_EQ(Python(whole, path), "(2, 3) [-3.0, -2.0, -1.0, 0.0, 1.0, 2.0]\n");
    FileProc_WrCoef(&object.header, 3, path.c_str(), list.m[0]);
    EXPECT_EQ(Python(whole, path), "(3,) [0.25, 1.0, -7.0]\n");
    Spectra spectra; // numpy reads a line as real and imaginary parts in turn
    FileProc_WrMatrixHFV(&object.header, 2, 4, spectra.rows, path.c_str());
    EXPECT_EQ(Python(load + ".view(complex); print(a.shape, a[2].tolist())", path),
              "(3, 3) [(77+0j), (77+77j), (77+0j)]\n");
    EXPECT_EQ(object.reports, Reports{});
}

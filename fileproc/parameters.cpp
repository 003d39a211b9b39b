// Parameter files: one field after another.
#include "fileproc/fileproc.h"
#include "fileproc/report.h"
#include "frame/open_stream.h"

#include <cstdlib>
#include <cstring>

// ---- Lines ----

static void Drop_Line(FILE* stream)
{
    int c;
    do {
        c = getc(stream);
    } while (c != '\n' && c != EOF);
}

static void Skip_Comments(FILE* stream)
{
    for (;;) {
        const int c = getc(stream);
        if (c != '#' && c != '%' && c != ' ' && c != '\n') {
            ungetc(c, stream);
            return;
        }
        if (c != '\n') {
            Drop_Line(stream); // at the end of the file the next turn ends
        }
    }
}

// Whether a value may end here. A carriage return stops it: the line feed behind it is an empty
// line to the next field.
static bool Ends_Value(FILE* stream)
{
    const auto ends_line = [](int c) { return c == '\n' || c == '\r' || c == EOF; };
    int c = getc(stream);
    if (c == ' ' || c == '\t') {
        while (!ends_line(c)) {
            c = getc(stream);
        }
    }
    return ends_line(c);
}

// ---- Open and close ----

static FILE* Open(ObjectHeader* object, const char* path, const char* mode, const char* text)
{
    FILE* stream = OBJ_Open_Stream(path, mode);
    if (stream == nullptr) {
        FileProc_Refuse(object, FileProc_Open_Failed, text, path);
    }
    return stream;
}

void FileProc_OpenPARFILE(ObjectHeader* object, const char* path, FILE** stream)
{
    *stream = Open(object, path, "r", "FileProc_OpenPARFILE: Error opening ");
}

void FileProc_OpenPARFILE_Wr(ObjectHeader* object, const char* path, FILE** stream)
{
    *stream = Open(object, path, "w", "FileProc_OpenPARFILE_Wr: Error opening ");
}

static void Close(ObjectHeader* object, FILE* stream, bool broken, const char* text)
{
    if (fclose(stream) != 0 || broken) {
        FileProc_Refuse(object, FileProc_Close_Failed, text, nullptr);
    }
}

// Every read tells its own errors.
void FileProc_ClosePARFILE(ObjectHeader* object, FILE* stream)
{
    Close(object, stream, false, "FileProc_ClosePARFILE: Error Closing Parameter file");
}

// The caller prints on the stream too, and what a print lost stays lost when later ones go well.
void FileProc_ClosePARFILE_Wr(ObjectHeader* object, FILE* stream)
{
    Close(object, stream, ferror(stream) != 0,
          "FileProc_ClosePARFILE_Wr: Error Closing Paramater file");
}

// ---- Values: a read error looks like the end of the file and may have cut a value off ----

template <class Value>
static Value Read_Value(ObjectHeader* object, FILE* stream, const char* format, const char* text)
{
    Value value = {};
    Skip_Comments(stream);
    if (fscanf(stream, format, &value) != 1 || !Ends_Value(stream) || ferror(stream) != 0) {
        FileProc_Refuse(object, FileProc_Read_Failed, text, format);
    }
    return value;
}

void FileProc_Rdint(ObjectHeader* object, FILE* stream, const char* format, int32_t* out)
{
    *out = Read_Value<int32_t>(object, stream, format,
                               "FileProc_Rdint: Problem reading from file with ");
}

void FileProc_Rdlong(ObjectHeader* object, FILE* stream, const char* format, int64_t* out)
{
    *out = Read_Value<int64_t>(object, stream, format,
                               "FileProc_Rdlong: Problem reading from file with ");
}

void FileProc_Rdflt(ObjectHeader* object, FILE* stream, const char* format, float* out)
{
    *out = Read_Value<float>(object, stream, format,
                             "FileProc_Rdflt: Problem reading from file with ");
}

void FileProc_RdDbl(ObjectHeader* object, FILE* stream, const char* format, double* out)
{
    *out = Read_Value<double>(object, stream, format,
                              "FileProc_RdDbl: Problem reading from file with ");
}

void FileProc_Rdszt(ObjectHeader* object, FILE* stream, const char* format, uint64_t* out)
{
    const int32_t value = Read_Value<int32_t>(object, stream, format,
                                              "FileProc_Rdszt: Problem reading from file with ");
    if (value < 0) {
        FileProc_Refuse(object, FileProc_Read_Failed, "FileProc_Rdszt: Negative value read; ",
                        format);
    }
    *out = static_cast<uint64_t>(value);
}

void FileProc_Rdnme(ObjectHeader* object, FILE* stream, const char* format, char* buffer)
{
    Skip_Comments(stream);
    const bool found = fscanf(stream, format, buffer) == 1;
    if (found) {
        Drop_Line(stream);
    }
    if (!found || ferror(stream) != 0) {
        FileProc_Refuse(object, FileProc_Read_Failed,
                        "FileProc_Rdnme: Problem reading from file with ", format);
    }
}

template <class Value> static void Write_Value(ObjectHeader* object, FILE* stream,
                                               const char* format, Value value, const char* text)
{
    if (fprintf(stream, format, value) < 0) {
        FileProc_Refuse(object, FileProc_Write_Failed, text, format);
    }
}

void FileProc_Wrint(ObjectHeader* object, FILE* stream, const char* format, const int32_t* value)
{
    Write_Value(object, stream, format, *value, "FileProc_Wrint: Problem writing to file with ");
}

void FileProc_Wrflt(ObjectHeader* object, FILE* stream, const char* format, const float* value)
{
    Write_Value(object, stream, format, static_cast<double>(*value),
                "FileProc_Wrflt: Problem writing to file with ");
}

void FileProc_Wrnme(ObjectHeader* object, FILE* stream, const char* format, const char* text)
{
    Write_Value(object, stream, format, text, "FileProc_Wrnme: Problem writing to file with ");
}

// ---- Tagged lists ----

struct ListTexts {
    const char *empty, *failed;
};

static const ListTexts Float_List = {"FileProc_RdFloatString: str must not be empty.",
                                     "FileProc_RdFloatString: Problem reading from file with "};
static const ListTexts Int_List = {"FileProc_RdIntString: str must not be empty.",
                                   "FileProc_RdIntString: Problem reading from file with "};

// To behind the character that marks the start of the list.
static void Find_Tag(ObjectHeader* object, FILE* stream, const char* tag, const ListTexts& texts)
{
    Skip_Comments(stream);
    size_t last = strlen(tag);
    while (last > 0 && (tag[last] == ' ' || tag[last] == '\0')) {
        last--;
    }
    if (last == 0) {
        FileProc_Refuse(object, FileProc_Empty_Tag, texts.empty, nullptr);
    }
    const int mark = static_cast<unsigned char>(tag[last]);
    size_t left = 0;
    for (const char* place = tag; *place != '\0'; place++) {
        left += *place == tag[last] ? 1 : 0;
    }
    int c;
    do {
        c = getc(stream);
        left -= c == mark ? 1 : 0;
    } while (left > 0 && c != '\n' && c != EOF);
    if (c != mark) {
        FileProc_Refuse(object, FileProc_Read_Failed, texts.failed, tag);
    }
}

template <class Value>
static uint64_t Read_List(FILE* stream, const char* format, uint64_t count, Value* values)
{
    uint64_t found = 0;
    while (found < count && fscanf(stream, format, &values[found]) == 1) {
        found++;
    }
    return found;
}

void FileProc_RdFloatString(ObjectHeader* object, FILE* stream, const char* tag, uint64_t count,
                            uint64_t* found, float* values)
{
    Find_Tag(object, stream, tag, Float_List);
    // From the C library and not through OBJ_Malloc_T; the report is the same.
    float* list = static_cast<float*>(calloc(count, sizeof(float)));
    if (list == nullptr && count != 0) {
        FileProc_Refuse(object, FileProc_No_Memory, "OBJ_Malloc_T: Out of temp. memory", nullptr);
    }
    const uint64_t read = Read_List(stream, "%f", count, list);
    if (read == count) {
        Drop_Line(stream);
    }
    if (ferror(stream) != 0) {
        FileProc_Refuse(object, FileProc_Read_Failed, Float_List.failed, tag);
    }
    *found = read;
    if (read != count && read != 0) {
        FileProc_Warn(object,
                      "FileProc_RdFloatString: Fewer values read from file than requested at", tag);
    }
    if (read != 0) {
        memcpy(values, list, read * sizeof(float));
    }
    free(list);
}

void FileProc_RdIntString(ObjectHeader* object, FILE* stream, const char* tag, uint64_t count,
                          uint64_t* found, int32_t* values)
{
    Find_Tag(object, stream, tag, Int_List);
    *found = Read_List(stream, "%i", count, values);
    if (!Ends_Value(stream) || ferror(stream) != 0) {
        FileProc_Refuse(object, FileProc_Read_Failed, Int_List.failed, tag);
    }
}

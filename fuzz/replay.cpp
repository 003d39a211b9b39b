// Runs a fuzz target over every file of the directories named on the command line, without a
// fuzzer, so that any compiler and processor can do it. Prints the name of each file first: the
// last one is the culprit if the run ends early. Fails if there is no file in one of them.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <sys/stat.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);

static bool Replay_File(const char* path)
{
    FILE* file = fopen(path, "rb");
    if (file == nullptr) {
        perror(path);
        return false;
    }
    std::vector<uint8_t> bytes(1 << 20);
    bytes.resize(fread(bytes.data(), 1, bytes.size(), file));
    fclose(file);
    printf("%s\n", path);
    fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

// The number of files run, or -1 for a directory or file that cannot be read.
static int Replay_Directory(const char* name)
{
    DIR* directory = opendir(name);
    if (directory == nullptr) {
        perror(name);
        return -1;
    }
    int files = 0;
    for (const dirent* entry = readdir(directory); entry != nullptr && files >= 0;
         entry = readdir(directory)) {
        char path[4096];
        struct stat status;
        snprintf(path, sizeof path, "%s/%s", name, entry->d_name);
        if (stat(path, &status) == 0 && S_ISREG(status.st_mode)) {
            files = Replay_File(path) ? files + 1 : -1;
        }
    }
    closedir(directory);
    return files;
}

int main(int argument_count, char** arguments)
{
    int all = 0;
    for (int k = 1; k < argument_count; k++) {
        const int files = Replay_Directory(arguments[k]);
        if (files <= 0) {
            fprintf(stderr, "no files to run in %s\n", arguments[k]);
            return 1;
        }
        all += files;
    }
    if (all == 0) {
        fprintf(stderr, "usage: %s DIRECTORY...\n", arguments[0]);
        return 1;
    }
    printf("%d files\n", all);
    return 0;
}

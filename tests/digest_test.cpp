// Compares this build's digests with tests/digest.txt. After a wanted change of results, run the
// program with --print and put its output there, from any build: they must all agree.
#include "tests/digest.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

static const DigestTable* const Tables[] = {&Digest_Audio, &Digest_Vector, &Digest_Matrix,
                                            &Digest_Spectrum};

static std::string Run_All()
{
    std::string text;
    for (const DigestTable* table : Tables) {
        for (size_t i = 0; i < table->count; i++) {
            char hash[17];
            snprintf(hash, sizeof hash, "%016" PRIx64, table->lines[i].run());
            text += std::string(hash) + " " + table->lines[i].name + "\n";
        }
    }
    return text;
}

TEST(Digest, IsTheSameInEveryBuild)
{
    std::ifstream file(OMBRINE_DIGEST_FILE);
    std::stringstream expected;
    expected << file.rdbuf();
    ASSERT_NE(expected.str(), "");
    EXPECT_EQ(Run_All(), expected.str());
}

int main(int argc, char** argv)
{
    if (argc == 2 && strcmp(argv[1], "--print") == 0) {
        fputs(Run_All().c_str(), stdout);
        return 0;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

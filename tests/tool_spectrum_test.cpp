// ombrine spectrum: where a tone stands in the picture, how bright, and what it refuses.
#include "tests/tool_fixture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <png.h>

namespace fs = std::filesystem;

// The plot's place in the picture.
static constexpr int Left = 96, Top = 44, Width = 1000, Height = 512;
static constexpr int Levels_Right = Left + Width + 20; // the scale of colours

using Pixel = std::array<uint8_t, 3>;

struct Png {
    int width = 0, height = 0;
    std::vector<Pixel> pixels;

    explicit Png(const std::string& bytes)
    {
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
            return;
        }
        image.format = PNG_FORMAT_RGB;
        pixels.resize(image.width * image.height);
        png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
        width = static_cast<int>(image.width);
        height = static_cast<int>(image.height);
    }
    const Pixel& At(int x, int y) const
    {
        return pixels[static_cast<size_t>(y * width + x)];
    }
    // By the scale beside the plot: the level of a colour in dB, to its nearest step.
    double Level(const Pixel& pixel) const
    {
        int best = 0, least = 1 << 20;
        for (int row = 0; row < Height; row++) {
            int off = 0;
            for (size_t k = 0; k < 3; k++) {
                off += std::abs(At(Levels_Right, Top + row)[k] - pixel[k]);
            }
            if (off < least) {
                least = off;
                best = row;
            }
        }
        return -120.0 * best / (Height - 1);
    }
    // The row of the plot with the highest level at x, and that level.
    std::pair<int, double> Loudest(int x) const
    {
        std::pair<int, double> loudest = {0, -1000.0};
        for (int row = 0; row < Height; row++) {
            const double level = Level(At(Left + x, Top + row));
            loudest = level > loudest.second ? std::pair(row, level) : loudest;
        }
        return loudest;
    }
};

// 8000 samples a second; a sine of level 1.0 is at full scale.
static std::vector<int> Sine(double frequency, double level, size_t frames)
{
    std::vector<int> values(frames);
    for (size_t i = 0; i < frames; i++) {
        values[i] = static_cast<int>(std::lround(
            32767.0 * level * std::sin(2.0 * M_PI * frequency / 8000.0 * static_cast<double>(i))));
    }
    return values;
}

TEST_F(Tool, SpectrumShowsATonesPlaceAndLevel)
{
    const std::vector<int> low = Sine(1000, 1.0, 16000);
    const std::vector<int> high = Sine(3000, 0.1, 16000);
    std::vector<int> both;
    for (size_t i = 0; i < low.size(); i++) {
        both.insert(both.end(), {low[i], high[i]});
    }
    Put("low.wav", Wave_16(1, low));
    Put("both.wav", Wave_16(2, both));
    const struct {
        Arguments arguments;
        double frequency, level, rows_off;
    } cases[] = {
        {{"spectrum", "-o", "out.png", "low.wav"}, 1000, 0, 4},
        {{"spectrum", "-o", "out.png", "low.wav", "--size", "64"}, 1000, 0, 18},
        {{"spectrum", "-o", "out.png", "low.wav", "--size", "8192"}, 1000, 0, 4},
        {{"spectrum", "-o", "out.png", "both.wav", "--channel", "1"}, 1000, 0, 4},
        {{"spectrum", "-o", "out.png", "both.wav", "--channel", "2"}, 3000, -20, 4},
        {{"spectrum", "-o", "out.png", "both.wav"}, 1000, -3, 4}, // the mean
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        EXPECT_EQ(Expect_Run(c.arguments, 0, "").out, "");
        const Png png(Get("out.png"));
        ASSERT_GT(png.width, Levels_Right);
        for (const int x : {300, 500, 700}) {
            const auto [row, level] = png.Loudest(x);
            EXPECT_NEAR(row, (1.0 - c.frequency / 4000.0) * Height, c.rows_off) << x;
            EXPECT_NEAR(level, c.level, 0.6) << x;
        }
    }
}

// Long enough for columns to be joined, and again: the place in time stays.
TEST_F(Tool, SpectrumShowsWhenASoundBegins)
{
    for (const size_t frames : {size_t{4000}, size_t{40000}, size_t{400000}}) {
        std::vector<int> values = Sine(1000, 1.0, frames);
        std::fill(values.begin(), values.begin() + static_cast<ptrdiff_t>(frames * 3 / 5), 0);
        Put("in.wav", Wave_16(1, values));
        ASSERT_EQ(Run_Tool({"spectrum", "in.wav", "--size", "64"}).status, 0);
        const Png png(Get("in.png"));
        ASSERT_GT(png.width, Levels_Right);
        const int near = frames == 4000 ? 12 : 4;
        EXPECT_LT(png.Loudest(600 - near).second, -60.0) << frames;
        EXPECT_GT(png.Loudest(600 + near).second, -1.0) << frames;
    }
}

TEST_F(Tool, SpectrumDrawsTheMean)
{
    Put("in.wav", Wave_16(1, Sine(1000, 0.1, 16000)));
    Expect_Run({"spectrum", "--average", "in.wav", "-o", "mean.png"}, 0, "");
    const Png png(Get("mean.png"));
    ASSERT_GT(png.width, Left + Width);
    // The highest point of the curve: 1000 Hz on an axis of ratios from 8000 / 2048 to 4000 Hz, 20
    // dB down on one from 0 to -120.
    const auto curve = std::find(png.pixels.begin(), png.pixels.end(), Pixel{31, 90, 166});
    ASSERT_NE(curve, png.pixels.end());
    const auto place = static_cast<int>(curve - png.pixels.begin());
    const double low = 8000.0 / 2048.0;
    const double x = std::log(1000.0 / low) / std::log(4000.0 / low) * Width;
    EXPECT_NEAR(place % png.width - Left, x, 3);
    EXPECT_NEAR(place / png.width - Top, Height / 6.0, 2);
}

TEST_F(Tool, SpectrumRefuses)
{
    Put("in.wav", Wave_16(2, {1, 2, 3, 4}));
    Put("empty.wav", Wave_16(1, {}));
    fs::create_directory(Path("folder"));
    const std::string no_directory = "nowhere/x.png: No such file or directory";
    const std::string no_size = "--size: a power of two from 8 to 65536";
    const struct {
        Arguments arguments;
        int status;
        std::string reason;
    } cases[] = {
        {{"spectrum", "in.wav", "--size", "1000"}, 2, no_size},
        {{"spectrum", "in.wav", "--size", "4"}, 2, no_size},
        {{"spectrum", "in.wav", "--size", "131072"}, 2, no_size},
        {{"spectrum", "in.wav", "--channel", "3"}, 2, "in.wav: there is no channel 3"},
        {{"spectrum", "empty.wav"}, 1, "empty.wav: it holds no frames, there is nothing to draw"},
        {{"spectrum", "in.wav", "-o", "nowhere/x.png"}, 1, no_directory},
        {{"spectrum", "in.wav", "-o", "folder"}, 1, "folder: Is a directory"},
        {{"spectrum", "in.wav", "-o", "/dev/full"}, 1, "/dev/full: No space left on device"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Expect_Run(c.arguments, c.status, "ombrine: " + c.reason + "\n").out, "");
        EXPECT_FALSE(fs::exists(Path("in.png"))) << c.reason;
    }
}

TEST_F(Tool, SpectrumTakesAnyFileName)
{
    const std::string sound = Wave_16(1, Sine(1000, 0.5, 100)); // shorter than one spectrum
    const std::string long_name =
        "t\xC3\xB6ne \n and a name that is much too long for the top line of any picture at all";
    const std::pair<std::string, std::string> cases[] = {
        {"a.b.wav", "a.b.png"},
        {"plain", "plain.png"},
        {".hidden", ".hidden.png"},
        {long_name + ".aiff", long_name + ".png"},
    };
    for (const auto& [source, picture] : cases) {
        Put(source, sound);
        Put(picture, "old");
        Expect_Run({"spectrum", source}, 0, "");
        EXPECT_GT(Png(Get(picture)).width, 0) << picture;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 8 + 2)
        << "nothing else is left there";
    const fs::perms any_new_file = fs::perms{0444};
    EXPECT_EQ(fs::status(Path("plain.png")).permissions() & any_new_file, any_new_file);
}

// A long file, and many channels: memory stays bounded.
TEST_F(Tool, SpectrumTakesBoundedMemory)
{
    Put_Zeros("long.wav", 1, 60u << 20);
    Put("many.wav", Wave_16(65535, std::vector<int>(65535, 100)));
    for (const char* name : {"long.wav", "many.wav"}) {
        const Result result = Run_Tool({"spectrum", name, "--size", "4096"});
        EXPECT_EQ(result.status, 0) << result.err;
        if (!OMBRINE_SANITIZED) {
            EXPECT_LT(result.peak_kib, 48 * 1024) << name;
        }
    }
}

// spectrum: levels over time and frequency, or their mean over frequency, as a picture.
//
// Spectra of size samples under a Hann window come every half size. A file's length is not believed
// before its end: columns of the picture gather spectra, and whenever there are too many of them
// each two become one, so memory is bounded and every spectrum counts.
#include "tools/commands.h"
#include "tools/picture.h"
#include "tools/source.h"

#include "spectrum/fft.h"
#include "spectrum/fv.h"
#include "vector/kern.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

static constexpr int Plot_Left = 96;
static constexpr int Plot_Top = 44;
static constexpr int Plot_Width = 1000;
static constexpr int Plot_Height = 512;
static constexpr int Margin_Right = 40;
static constexpr int Scale_Right = 140; // a margin with the scale of colours in it
static constexpr int Picture_Height = Plot_Top + Plot_Height + 64;
static constexpr size_t Most_Columns = 2 * Plot_Width;

static constexpr double Lowest_Level = -120.0; // dB
static constexpr double Highest_Level = 400.0; // above that of the largest float's power
static constexpr int Grid_Step = 20;           // dB
static constexpr float Power_Floor = 1e-14f;

static constexpr Colour Paper = {255, 255, 255};
static constexpr Colour Ink = {40, 40, 40};
static constexpr Colour Grid = {220, 220, 220};
static constexpr Colour Curve = {31, 90, 166};

// ---- Analysis ----

// Whole spectra of one column: the power of each row of the picture, summed over count spectra.
struct Column {
    std::vector<float> power;
    uint64_t count;
};

struct Analysis {
    uint32_t size;
    uint64_t first_channel, channels; // that are looked at
    std::vector<uint64_t> plan_memory;
    const FftRealPlan* plan;
    std::vector<float> window, windowed, spectrum, power;
    std::vector<std::vector<float>> pending; // by channel: samples not yet taken
    uint64_t spectra;

    std::vector<double> mean; // a bin; the sum until the end
    bool average;
    std::vector<Column> columns;
    uint64_t spectra_a_column;
};

static Analysis Analysis_Make(const SpectrumOptions& options, uint64_t channels)
{
    Analysis analysis = {};
    const uint32_t size = options.size;
    analysis.size = size;
    analysis.first_channel = options.channel == 0 ? 0 : options.channel - 1;
    analysis.channels = options.channel == 0 ? channels : 1;
    analysis.average = options.average;
    analysis.spectra_a_column = 1;
    analysis.plan_memory.resize(FFT_RealPlan_Size(size) / 8 + 1);
    auto* plan = reinterpret_cast<FftRealPlan*>(analysis.plan_memory.data());
    FFT_RealPlan_Init(size, plan);
    analysis.plan = plan;
    analysis.window.resize(size);
    for (uint32_t i = 0; i < size; i++) {
        analysis.window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * M_PI * i / size));
    }
    analysis.windowed.resize(size);
    analysis.spectrum.resize(size);
    analysis.power.resize(size / 2 + 1);
    analysis.mean.resize(size / 2 + 1);
    analysis.pending.resize(analysis.channels);
    return analysis;
}

// The mean power of the channels in each bin, 1.0 for a sine at full scale; behind the end of the
// samples there is silence. The transform has a factor of 2 in every slot and the window a mean of
// one half, so such a sine comes out as size / 2; a constant of 1.0 as size.
static void Take_Power(Analysis* analysis, uint64_t offset)
{
    const uint32_t size = analysis->size;
    std::vector<float> channel(size / 2 + 1);
    HFV_Zero(nullptr, size, analysis->power.data());
    for (const std::vector<float>& samples : analysis->pending) {
        const uint64_t there = std::min<uint64_t>(samples.size() - offset, size);
        KERN_Mul(nullptr, static_cast<uint32_t>(there), samples.data() + offset,
                 analysis->window.data(), analysis->windowed.data());
        std::fill(analysis->windowed.begin() + static_cast<ptrdiff_t>(there),
                  analysis->windowed.end(), 0.0f);
        FFT_Real_Forward(analysis->plan, size, analysis->windowed.data(),
                         analysis->spectrum.data());
        FV_Cross_Real(nullptr, size, analysis->spectrum.data(), analysis->spectrum.data(),
                      channel.data());
        HFV_Add_InPlace(nullptr, size, channel.data(), analysis->power.data());
    }
    const double full = static_cast<double>(size) / 2.0;
    const double channels = static_cast<double>(analysis->channels);
    HFV_Scale(nullptr, size, analysis->power.data(),
              static_cast<float>(1.0 / (full * full * channels)));
    analysis->power.front() *= 0.25f;
    analysis->power.back() *= 0.25f;
}

// Rows from the top of the picture; each takes the largest of its bins, so that no tone gets lost.
static void Add_To_Column(Analysis* analysis)
{
    std::vector<Column>& columns = analysis->columns;
    if (columns.empty() || columns.back().count == analysis->spectra_a_column) {
        if (columns.size() == Most_Columns) {
            for (size_t i = 0; i < Most_Columns / 2; i++) {
                columns[2 * i].count += columns[2 * i + 1].count;
                KERN_Add_InPlace(nullptr, Plot_Height, columns[2 * i + 1].power.data(),
                                 columns[2 * i].power.data());
                std::swap(columns[i], columns[2 * i]);
            }
            columns.resize(Most_Columns / 2);
            analysis->spectra_a_column *= 2;
        }
        columns.push_back({std::vector<float>(Plot_Height), 0});
    }
    Column& column = columns.back();
    column.count++;
    const size_t bins = analysis->power.size();
    for (size_t row = 0; row < Plot_Height; row++) {
        const size_t from = (Plot_Height - 1 - row) * bins / Plot_Height;
        const size_t to = std::max((Plot_Height - row) * bins / Plot_Height, from + 1);
        column.power[row] += *std::max_element(&analysis->power[from], &analysis->power[0] + to);
    }
}

static void Add_Spectrum(Analysis* analysis, uint64_t offset)
{
    Take_Power(analysis, offset);
    analysis->spectra++;
    if (!analysis->average) {
        Add_To_Column(analysis);
        return;
    }
    for (size_t k = 0; k < analysis->mean.size(); k++) {
        analysis->mean[k] += static_cast<double>(analysis->power[k]);
    }
}

static void Analysis_Add(Analysis* analysis, const Source& source, uint64_t frames)
{
    for (uint64_t c = 0; c < analysis->channels; c++) {
        const float* samples = source.buffers[analysis->first_channel + c];
        analysis->pending[c].insert(analysis->pending[c].end(), samples, samples + frames);
    }
    uint64_t taken = 0;
    for (; taken + analysis->size <= analysis->pending[0].size(); taken += analysis->size / 2) {
        Add_Spectrum(analysis, taken);
    }
    for (std::vector<float>& samples : analysis->pending) {
        samples.erase(samples.begin(), samples.begin() + static_cast<ptrdiff_t>(taken));
    }
}

// What is left, unless all of it was in a spectrum before.
static void Analysis_End(Analysis* analysis)
{
    if (analysis->spectra == 0 || analysis->pending[0].size() > analysis->size / 2) {
        Add_Spectrum(analysis, 0);
    }
    for (double& value : analysis->mean) {
        value /= static_cast<double>(analysis->spectra);
    }
}

// ---- Axes ----

// The next of 1, 2 and 5 times a power of ten at or above least.
static double Round_Step(double least)
{
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

static void Centred(Picture* picture, int x, int y, const std::string& text)
{
    Picture_Text(picture, x - static_cast<int>(text.size()) * Letter_Width / 2, y, text, Ink);
}

static void Label_Below(Picture* picture, int x, const std::string& text)
{
    Picture_Fill(picture, x, Plot_Top + Plot_Height, 1, 6, Ink);
    Centred(picture, x, Plot_Top + Plot_Height + 10, text);
}

static void Label_Left(Picture* picture, int y, const std::string& text)
{
    Picture_Fill(picture, Plot_Left - 6, y, 6, 1, Ink);
    Picture_Text(picture, Plot_Left - 10 - static_cast<int>(text.size()) * Letter_Width,
                 y - Letter_Height / 2, text, Ink);
}

static void Frame(Picture* picture)
{
    const int right = Plot_Left + Plot_Width;
    const int bottom = Plot_Top + Plot_Height;
    Picture_Fill(picture, Plot_Left - 1, Plot_Top - 1, Plot_Width + 2, 1, Ink);
    Picture_Fill(picture, Plot_Left - 1, bottom, Plot_Width + 2, 1, Ink);
    Picture_Fill(picture, Plot_Left - 1, Plot_Top - 1, 1, Plot_Height + 2, Ink);
    Picture_Fill(picture, right, Plot_Top - 1, 1, Plot_Height + 2, Ink);
}

static void Title(Picture* picture, const Source& source, const SpectrumOptions& options)
{
    std::string name = Show(source.path.substr(source.path.rfind('/') + 1)).text;
    const std::string what =
        options.channel != 0
            ? Format("channel %llu", static_cast<unsigned long long>(options.channel))
        : source.channels == 1
            ? "1 channel"
            : Format("mean of %llu channels", static_cast<unsigned long long>(source.channels));
    const std::string rest = ", " + what + Format(", %u samples a spectrum", options.size);
    const size_t room = static_cast<size_t>(Plot_Width / Letter_Width) - rest.size();
    if (name.size() > room) {
        name = name.substr(0, room - 3) + "...";
    }
    Picture_Text(picture, Plot_Left, 16, name + rest, Ink);
}

// Ticks of a straight axis from 0 to end, length pixels long.
template <class Label> static void Ticks(double end, int length, int pixels_a_tick, Label label)
{
    const double step = Round_Step(end * pixels_a_tick / length);
    for (int i = 0; i * step <= end * (1.0 + 1e-9); i++) {
        label(static_cast<int>(std::lround(i * step / end * (length - 1))), i * step);
    }
}

// ---- Spectrogram ----

// Dark to bright, even in lightness.
static Colour Level_Colour(double level)
{
    static constexpr std::array<Colour, 9> Points = {{{0, 0, 4},
                                                      {31, 12, 72},
                                                      {85, 15, 109},
                                                      {136, 34, 106},
                                                      {186, 54, 85},
                                                      {227, 89, 51},
                                                      {249, 140, 10},
                                                      {252, 201, 65},
                                                      {252, 255, 164}}};
    const double place = std::clamp(1.0 - level / Lowest_Level, 0.0, 1.0) * (Points.size() - 1);
    const size_t low = std::min(static_cast<size_t>(place), Points.size() - 2);
    const double part = place - static_cast<double>(low);
    const auto mix = [&](uint8_t a, uint8_t b) {
        return static_cast<uint8_t>(std::lround(a + (b - a) * part));
    };
    const Colour& a = Points[low];
    const Colour& b = Points[low + 1];
    return {mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

// A place's column is that of the spectrum whose middle is nearest in time.
static size_t Column_At(const Analysis& analysis, double frame)
{
    const double half = analysis.size / 2.0;
    const double spectrum = std::max(std::round((frame - half) / half), 0.0);
    const double column = std::floor(spectrum / static_cast<double>(analysis.spectra_a_column));
    return std::min(static_cast<size_t>(column), analysis.columns.size() - 1);
}

static void Draw_Columns(Picture* picture, Analysis* analysis, uint64_t frames)
{
    for (Column& column : analysis->columns) {
        KERN_Scale_InPlace(nullptr, Plot_Height, column.power.data(),
                           1.0f / static_cast<float>(column.count));
        HFV_PowerToDb(nullptr, 2 * (Plot_Height - 1), column.power.data(), Power_Floor);
    }
    for (int x = 0; x < Plot_Width; x++) {
        const double frame = (x + 0.5) / Plot_Width * static_cast<double>(frames);
        const Column& column = analysis->columns[Column_At(*analysis, frame)];
        for (int row = 0; row < Plot_Height; row++) {
            Picture_Fill(picture, Plot_Left + x, Plot_Top + row, 1, 1,
                         Level_Colour(static_cast<double>(column.power[static_cast<size_t>(row)])));
        }
    }
}

static void Draw_Scale(Picture* picture)
{
    const int x = Plot_Left + Plot_Width + 20;
    for (int row = 0; row < Plot_Height; row++) {
        Picture_Fill(picture, x, Plot_Top + row, 24, 1,
                     Level_Colour(Lowest_Level * row / (Plot_Height - 1)));
    }
    Ticks(-Lowest_Level, Plot_Height, 60, [&](int place, double value) {
        Picture_Fill(picture, x + 24, Plot_Top + place, 6, 1, Ink);
        Picture_Text(picture, x + 34, Plot_Top + place - Letter_Height / 2,
                     Format("%g", 0.0 - value), Ink);
    });
    Picture_Text(picture, x, 16, "dBFS", Ink);
}

static Picture Draw_Spectrogram(const Source& source, Analysis* analysis)
{
    Picture picture = Picture_Make(Plot_Left + Plot_Width + Scale_Right, Picture_Height, Paper);
    Draw_Columns(&picture, analysis, source.frames_read);
    Draw_Scale(&picture);
    Frame(&picture);
    const bool kilo = source.rate >= 4000.0;
    Ticks(source.rate / (kilo ? 2000.0 : 2.0), Plot_Height, 40, [&](int place, double value) {
        Label_Left(&picture, Plot_Top + Plot_Height - 1 - place, Format("%g", value));
    });
    Picture_Text(&picture, 8, 16, kilo ? "kHz" : "Hz", Ink);
    const double seconds = static_cast<double>(source.frames_read) / source.rate;
    const bool minutes = seconds >= 180.0;
    Ticks(minutes ? seconds / 60.0 : seconds, Plot_Width, 90, [&](int place, double value) {
        Label_Below(&picture, Plot_Left + place, Format("%g", value));
    });
    Centred(&picture, Plot_Left + Plot_Width / 2, Picture_Height - 22,
            minutes ? "time in minutes" : "time in seconds");
    return picture;
}

// ---- Mean spectrum ----

// From the first bin to half the rate, by equal ratios.
struct RatioAxis {
    double low, high;
};

static double Ratio_Place(const RatioAxis& axis, double frequency)
{
    return std::log(frequency / axis.low) / std::log(axis.high / axis.low) * (Plot_Width - 1);
}

// The level in dB at each place from left to right: the largest bin of a place, or a straight line
// between bins where they lie farther apart.
static std::vector<double> Levels(const Analysis& analysis)
{
    const size_t last = analysis.mean.size() - 1;
    std::vector<double> levels(Plot_Width);
    const auto decibels = [&](size_t bin) {
        return 10.0 * std::log10(std::max(analysis.mean[bin], static_cast<double>(Power_Floor)));
    };
    const auto bin_at = [&](double place) {
        return std::pow(static_cast<double>(last), place / (Plot_Width - 1));
    };
    for (int x = 0; x < Plot_Width; x++) {
        const double here = std::clamp(bin_at(x), 1.0, static_cast<double>(last));
        const auto low = std::min(static_cast<size_t>(here), last - 1);
        const double part = here - static_cast<double>(low);
        double level = decibels(low) * (1.0 - part) + decibels(low + 1) * part;
        const auto end = std::min(bin_at(x + 0.5), static_cast<double>(last) + 0.5);
        for (auto bin = static_cast<size_t>(std::ceil(bin_at(x - 0.5)));
             static_cast<double>(bin) < end; bin++) {
            level = std::max(level, decibels(std::max<size_t>(bin, 1)));
        }
        levels[static_cast<size_t>(x)] = level;
    }
    return levels;
}

static Picture Draw_Mean(const Source& source, const Analysis& analysis)
{
    Picture picture = Picture_Make(Plot_Left + Plot_Width + Margin_Right, Picture_Height, Paper);
    const std::vector<double> levels = Levels(analysis);
    const double loudest = *std::max_element(levels.begin(), levels.end());
    // NaN counts as 0 dB.
    const double shown = std::fmin(std::fmax(loudest, 0.0), Highest_Level);
    const int top = Grid_Step * static_cast<int>(std::ceil(shown / Grid_Step));
    const double range = top - Lowest_Level;
    const auto height = [&](double level) {
        return Plot_Top + static_cast<int>(std::lround(std::clamp((top - level) / range, 0.0, 1.0) *
                                                       (Plot_Height - 1)));
    };
    for (int level = top; level >= Lowest_Level; level -= Grid_Step) {
        Picture_Fill(&picture, Plot_Left, height(level), Plot_Width, 1, Grid);
        Label_Left(&picture, height(level), Format("%d", level));
    }
    const RatioAxis axis = {source.rate / analysis.size, source.rate / 2.0};
    const int first = static_cast<int>(std::floor(std::log10(axis.low)));
    const int last = static_cast<int>(std::floor(std::log10(axis.high)));
    for (int decade = first; decade <= last; decade++) {
        for (int digit = 1; digit <= 9; digit++) {
            const double frequency = digit * std::pow(10.0, decade);
            if (frequency < axis.low || frequency > axis.high) {
                continue;
            }
            const int x = Plot_Left + static_cast<int>(std::lround(Ratio_Place(axis, frequency)));
            Picture_Fill(&picture, x, Plot_Top, 1, Plot_Height, Grid);
            if (digit == 1 || digit == 2 || digit == 5) {
                Label_Below(&picture, x,
                            frequency >= 1000.0 ? Format("%gk", frequency / 1000.0)
                                                : Format("%g", frequency));
            }
        }
    }
    for (int x = 1; x < Plot_Width; x++) {
        const int from = height(levels[static_cast<size_t>(x - 1)]);
        const int to = height(levels[static_cast<size_t>(x)]);
        Picture_Line(&picture, Plot_Left + x - 1, from, Plot_Left + x, to, Curve);
        Picture_Line(&picture, Plot_Left + x - 1, from + 1, Plot_Left + x, to + 1, Curve);
    }
    Frame(&picture);
    Picture_Text(&picture, 8, 16, "dBFS", Ink);
    Centred(&picture, Plot_Left + Plot_Width / 2, Picture_Height - 22, "frequency in Hz");
    return picture;
}

// ---- Command ----

static void Check_Drawable(const Source& source, const SpectrumOptions& options)
{
    if (options.channel > source.channels) {
        Tool_Stop(Tool_Wrong_Usage,
                  source.path + Format(": there is no channel %llu",
                                       static_cast<unsigned long long>(options.channel)));
    }
    if (source.channels == 0) {
        Tool_Stop(Tool_Failed, source.path + ": it has no channels, there is nothing to draw");
    }
    if (!(source.rate >= 1e-3 && source.rate <= 1e12)) {
        Tool_Stop(Tool_Failed,
                  source.path +
                      Format(": a rate of %g Hz makes no axis of frequencies", source.rate));
    }
}

static std::string Default_Output(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    const size_t point = name.rfind('.');
    return (point == std::string::npos || point == 0 ? name : name.substr(0, point)) + ".png";
}

void Tool_Spectrum(const SpectrumOptions& options)
{
    Source source = Source_Open(options.path);
    Check_Drawable(source, options);
    Analysis analysis = Analysis_Make(options, source.channels);
    Bar bar = Bar_Start(source);
    uint64_t frames = 0;
    do {
        frames = Source_Read(&source);
        Analysis_Add(&analysis, source, frames);
        Bar_Draw(&bar, source.frames_read);
    } while (frames == source.block_frames);
    Bar_End(bar);
    Source_Close(&source);
    if (source.frames_read == 0) {
        Tool_Stop(Tool_Failed, source.path + ": it holds no frames, there is nothing to draw");
    }
    Analysis_End(&analysis);
    Picture picture =
        options.average ? Draw_Mean(source, analysis) : Draw_Spectrogram(source, &analysis);
    Title(&picture, source, options);
    const std::string output =
        options.output.empty() ? Default_Output(options.path) : options.output;
    std::string reason;
    if (!Picture_Write(picture, output, &reason)) {
        Tool_Stop(Tool_Failed, output + ": " + reason);
    }
}

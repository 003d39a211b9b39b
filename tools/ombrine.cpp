// ombrine: shows what audio files hold, converts them to 16-bit WAVE and pictures them. This file
// takes the command line apart; the commands are in commands.cpp and spectrum.cpp.
//
// Exit status: 0 on success, 1 when a file or standard output stops it, 2 on wrong usage. Wrong
// usage says why in one line on standard error.
#include "tools/commands.h"

#include <CLI/CLI.hpp>
#include <clocale>
#include <cmath>
#include <csignal>
#include <sstream>

static constexpr double Largest_Gain = 200.0; // dB, up or down

// The help or version text to standard output, or the reason, on one line, to standard error.
static int End_Of_Parsing(const CLI::App& app, const CLI::ParseError& error)
{
    std::ostringstream text;
    std::ostringstream reason;
    if (app.exit(error, text, reason) == 0) {
        Tool_Print(text.str());
        return 0;
    }
    Tool_Stop(Tool_Wrong_Usage, std::string(error.what()) + " (ombrine --help tells the usage)");
}

static int Run(int argument_count, char** arguments)
{
    CLI::App app{"Shows, converts and pictures WAVE, AIFF and AIFC files.", "ombrine"};
    app.set_version_flag("--version", "ombrine " OMBRINE_VERSION);
    app.require_subcommand(1);

    std::vector<std::string> paths;
    CLI::App* info = app.add_subcommand(
        "info", "Print what files hold, and the peak and RMS level of each channel");
    info->add_option("FILE", paths, "Audio files")->required();

    std::string source;
    std::string target;
    double gain_db = 0.0;
    CLI::App* convert = app.add_subcommand(
        "convert", "Write a file as 16-bit WAVE; an existing output is replaced");
    convert->add_option("IN", source, "The file to read")->required();
    convert->add_option("OUT.wav", target, "The WAVE file to write")->required();
    convert->add_option("--gain", gain_db, "Decibels to add, -200 to 200")->type_name("DB");

    SpectrumOptions picture = {"", "", 0, 2048, false};
    CLI::App* spectrum =
        app.add_subcommand("spectrum", "Draw the levels of a file over time and frequency as PNG");
    spectrum->add_option("FILE", picture.path, "The file to read")->required();
    spectrum->add_option("-o", picture.output,
                         "The picture to write; else the file's name with .png");
    spectrum->add_option("--channel", picture.channel, "The channel, from 1; else the mean of all")
        ->check(CLI::PositiveNumber);
    spectrum->add_option("--size", picture.size, "Samples a spectrum: a power of two, 8 to 65536");
    spectrum->add_flag("--average", picture.average, "One curve, the mean of the whole file");

    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        return End_Of_Parsing(app, error);
    }
    if (*info) {
        Tool_Info(paths);
    } else if (*spectrum) {
        if (picture.size < 8 || picture.size > 65536 || (picture.size & (picture.size - 1)) != 0) {
            Tool_Stop(Tool_Wrong_Usage, "--size: a power of two from 8 to 65536");
        }
        Tool_Spectrum(picture);
    } else {
        if (!(std::fabs(gain_db) <= Largest_Gain)) {
            Tool_Stop(Tool_Wrong_Usage, "--gain: the decibels must be from -200 to 200");
        }
        Tool_Convert(source, target, gain_db);
    }
    return 0;
}

int main(int argument_count, char** arguments)
{
    signal(SIGPIPE, SIG_IGN); // a closed pipe is a write error like any other
    setlocale(LC_CTYPE, "C.UTF-8");
    try {
        return Run(argument_count, arguments);
    } catch (const std::exception& error) { // memory
        fprintf(stderr, "ombrine: %s\n", error.what());
        return Tool_Failed;
    }
}

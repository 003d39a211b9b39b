// Pictures of 8-bit red, green and blue, with lines and text of a built-in 5 by 7 font, as PNG
// files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Colour {
    uint8_t red, green, blue;
};

struct Picture {
    int width, height;
    std::vector<uint8_t> pixels; // row by row, three bytes a pixel
};

constexpr int Letter_Width = 12; // of a text, twice the font's size with the gap behind it
constexpr int Letter_Height = 14;

Picture Picture_Make(int width, int height, Colour ground);

// What lies outside of the picture is left out.
void Picture_Fill(Picture* picture, int x, int y, int width, int height, Colour colour);
void Picture_Line(Picture* picture, int x0, int y0, int x1, int y1, Colour colour);

// The upper left corner at x, y. Characters beyond ASCII become question marks.
void Picture_Text(Picture* picture, int x, int y, const std::string& text, Colour colour);

// Writes the whole file under another name beside path first, so that no half picture stands there;
// what is no regular file, such as a pipe, is written at once. False, with the reason, on a
// failure.
bool Picture_Write(const Picture& picture, const std::string& path, std::string* reason);

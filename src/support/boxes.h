// Boxes and rules: the banner and title boxes, centred headings of result files and
// right-aligned lap-time lines.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "support/messages.h"

// A box around a text of several lines, each centred (odd surplus to the right).
void PrintMultiLineInBox1(size_t indent, const char* text, FILE* fp);
// A one-line box; the cleaned text is cut to 40 characters plus "..." when longer than 43.
void PrintMax40CharInBox(int indent, FILE* fp, const char* text);
// A box at most boxLength columns wide, its text wrapped at blanks and hyphens.
void PrintALineInFixedBox(int indent, int boxLength, FILE* fp, const char* text);
// A heading of exactly `width` columns: the text centred in a run of `fill`.
void PrintALineFormat1(size_t width, char fill, FILE* fp, const char* fmt, ...) DAVOK_PRINTF(4, 5);
// A rule of n '-' and a line feed.
void PrintALine(int n, FILE* fp);
// Fill characters, a blank and the text, `width` columns in all.
void PrintLineTime(int width, char fill, FILE* fp, const char* text);

// The body lines of PrintALineInFixedBox: the cleaned text wrapped to lines of exactly
// `width` characters.
std::vector<std::string> WrapToWidth(const std::string& text, size_t width);

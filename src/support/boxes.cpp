#include "support/boxes.h"

#include <cstdarg>
#include <cstring>

#include "support/files.h"
#include "support/text.h"

namespace {

void PrintIndent(FILE* fp, long indent)
{
    for (long i = 0; i < indent; ++i) fputc(' ', fp);
}

// Top border " .----. " or bottom border " `----' " of total width t.
void PrintBorder(FILE* fp, long indent, size_t t, bool top)
{
    PrintIndent(fp, indent);
    std::string line(t, '-');
    line[0] = ' ';
    line[t - 1] = ' ';
    line[1] = top ? '.' : '`';
    line[t - 2] = top ? '.' : '\'';
    fprintf(fp, "%s\n", line.c_str());
}

void PrintBoxLine(FILE* fp, long indent, const std::string& body)
{
    PrintIndent(fp, indent);
    fprintf(fp, "|  %s  |\n", body.c_str());
}

std::string CleanedCopy(const char* text)
{
    if (strlen(text) >= 2001) Abort("Error - Line is too long.\n");
    std::string s(text);
    MakeCleanString(s);
    return s;
}

bool IsBreakPoint(const std::string& line, size_t p)
{
    return p >= 1 && (line[p - 1] == ' ' || line[p - 1] == '-') && line[p] != ' ';
}

}  // namespace

void PrintMultiLineInBox1(size_t indent, const char* text, FILE* fp)
{
    if (!text) {
        MyFflush(fp);
        return;
    }
    std::vector<std::string> lines;
    const char* start = text;
    for (const char* p = text; *p; ++p) {
        if (*p == '\n') {
            lines.emplace_back(start, p);
            start = p + 1;
        }
    }
    if (*start) lines.emplace_back(start);
    size_t w = 0;
    for (const auto& l : lines) w = std::max(w, l.size());
    size_t t = w + 6;
    PrintBorder(fp, indent, t, true);
    for (const auto& l : lines) {
        size_t left = (w - l.size()) / 2;
        std::string body = std::string(left, ' ') + l;
        body.resize(w, ' ');
        PrintBoxLine(fp, indent, body);
    }
    PrintBorder(fp, indent, t, false);
    MyFflush(fp);
}

void PrintMax40CharInBox(int indent, FILE* fp, const char* text)
{
    std::string s = CleanedCopy(text);
    if (s.size() > 43) s = s.substr(0, 40) + "...";
    size_t t = s.size() + 6;
    PrintBorder(fp, indent, t, true);
    PrintBoxLine(fp, indent, s);
    PrintBorder(fp, indent, t, false);
    MyFflush(fp);
}

std::vector<std::string> WrapToWidth(const std::string& text, size_t width)
{
    std::vector<std::string> lines;
    std::string line;
    for (char c : text) {
        if (line.size() < width) {
            line.push_back(c);
            continue;
        }
        size_t bp = 0;  // last break point of the full line, 0 = none
        for (size_t p = line.size() - 1; p >= 1; --p)
            if (IsBreakPoint(line, p)) {
                bp = p;
                break;
            }
        if (bp == 0) {                       // no place to break: cut after `width` characters
            lines.push_back(line);
            line.assign(1, c);
        } else if (c == ' ') {               // the blank itself is the break
            lines.push_back(line);
            line.clear();
        } else {                             // break at the last blank or hyphen
            std::string head = line.substr(0, bp);
            if (head.back() == ' ') head.pop_back();
            head.resize(width, ' ');
            lines.push_back(head);
            line = line.substr(bp);
            line.push_back(c);
        }
    }
    if (!line.empty()) {
        line.resize(width, ' ');
        lines.push_back(line);
    }
    return lines;
}

void PrintALineInFixedBox(int indent, int boxLength, FILE* fp, const char* text)
{
    if (boxLength >= 101) Abort("Error - Box length cannot be longer than 100 characters.\n");
    std::string s = CleanedCopy(text);
    long len = static_cast<long>(s.size());
    long t = (len < boxLength - 6) ? len + 6 : boxLength;
    if (t < 6) t = 6;  // a box narrower than its frame cannot hold any text
    size_t w = static_cast<size_t>(t - 6);
    std::vector<std::string> lines = (w > 0) ? WrapToWidth(s, w) : std::vector<std::string>{};
    PrintBorder(fp, indent, static_cast<size_t>(t), true);
    for (const auto& l : lines) PrintBoxLine(fp, indent, l);
    PrintBorder(fp, indent, static_cast<size_t>(t), false);
    MyFflush(fp);
}

void PrintALineFormat1(size_t width, char fill, FILE* fp, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    va_list copy;
    va_copy(copy, ap);
    int n = vsnprintf(nullptr, 0, fmt, ap);
    va_end(ap);
    std::string text(n > 0 ? n : 0, '\0');
    if (n > 0) vsnprintf(&text[0], n + 1, fmt, copy);
    va_end(copy);

    size_t len = text.size();
    if (len + 2 > width) {
        Warn("Warning - Line is too long (skipped).\n");
        NoWarn++;
        return;
    }
    size_t rest = width - len - 2;
    std::string line(rest / 2, fill);
    if (fmt[0] == '\0')
        line.append(2, fill);
    else
        line += " " + text + " ";
    line.append(rest / 2 + rest % 2, fill);
    fprintf(fp, "%s\n", line.c_str());
    MyFflush(fp);
}

void PrintALine(int n, FILE* fp)
{
    for (int i = 0; i < n; ++i) fputc('-', fp);
    fputc('\n', fp);
}

void PrintLineTime(int width, char fill, FILE* fp, const char* text)
{
    int n = width - 1 - static_cast<int>(strlen(text));
    for (int i = 0; i < n; ++i) fputc(fill, fp);
    fprintf(fp, " %s\n", text);
}

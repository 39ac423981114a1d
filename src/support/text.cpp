#include "support/text.h"

#include <cctype>

void MakeCleanString(std::string& s)
{
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
        if (c == ' ' && (out.empty() || out.back() == ' ')) continue;
        out.push_back(c);
    }
    if (!out.empty() && out.back() == ' ') out.pop_back();
    s.swap(out);
}

namespace {
bool IsTrimmed(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
}  // namespace

size_t TrimLeftRight(std::string& s)
{
    size_t b = 0, e = s.size();
    while (b < e && IsTrimmed(s[b])) ++b;
    while (e > b && IsTrimmed(s[e - 1])) --e;
    s = s.substr(b, e - b);
    return s.size();
}

void MyStrLwr(std::string& s)
{
    for (char& c : s)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
}

size_t MyStrLenWWS(const char* s)
{
    size_t n = 0;
    for (; *s; ++s)
        if (*s != ' ' && *s != '\t' && *s != '\n') ++n;
    return n;
}

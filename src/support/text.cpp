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

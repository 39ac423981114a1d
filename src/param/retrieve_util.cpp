#include "param/retrieve_util.h"

std::string Unquoted(const SCom* t)
{
    const std::string& s = t->text;
    size_t b = (!s.empty() && s[0] == '"') ? 1 : 0;
    size_t e = (s.size() > b && s.back() == '"') ? s.size() - 1 : s.size();
    return s.substr(b, e - b);
}

void SlashesForBackslashes(std::string& s)
{
    for (char& c : s)
        if (c == '\\') c = '/';
}

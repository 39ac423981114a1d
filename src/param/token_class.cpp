// Token classes of the grammar's terminals and the value predicates behind them.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "param/lex.h"
#include "support/messages.h"

namespace {

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The whole text is one decimal number; its value goes to v.
bool ConvertsWhole(const char* text, double& v)
{
    if (!*text) return false;
    char* end = nullptr;
    v = strtod(text, &end);
    return end && *end == '\0';
}

bool InRange(double v, double min, double max) { return min <= v && v <= max; }

}  // namespace

int MyStrCmp(const char* a, const char* b)
{
    if (!a) Abort("Unexpected Error in MyStrCmp Function!\n");
    int r = strcmp(a, b);
    return (r > 0) - (r < 0);
}

void GetTokenMinMax(const char* tokenClass, double& min, double& max)
{
    const char* firstUnderscore = strchr(tokenClass, '_');
    const char* lastUnderscore = strrchr(tokenClass, '_');
    if (!firstUnderscore || firstUnderscore == lastUnderscore) Abort("Internal Error in lexer!\n");
    min = atof(std::string(firstUnderscore + 1, lastUnderscore).c_str());
    max = atof(lastUnderscore + 1);
}

bool MyIsInteger(const char* text, double min, double max)
{
    for (const char* p = text; *p; ++p)
        if (!IsDigit(*p) && *p != '-') return false;
    double v;
    // std::trunc, not a cast to an integer type: a value of 63 digits has no integer to go to.
    return ConvertsWhole(text, v) && v == std::trunc(v) && InRange(v, min, max);
}

bool MyIsNumeric(const char* text, double min, double max)
{
    int points = 0, exponents = 0, minuses = 0;
    for (const char* p = text; *p; ++p) {
        if (*p == '.') ++points;
        else if (*p == 'e') ++exponents;
        else if (*p == '-') ++minuses;
        else if (!IsDigit(*p)) return false;
    }
    if (points > 1 || exponents > 1 || minuses > 1) return false;
    double v;
    if (!ConvertsWhole(text, v)) return false;
    return min == max || InRange(v, min, max);
}

bool MyIsVariableName(const char* text)
{
    if (!IsLetter(*text)) return false;
    for (const char* p = text + 1; *p; ++p)
        if (!IsLetter(*p) && !IsDigit(*p) && *p != '.') return false;
    return true;
}

bool MyIsAlphanumeric(const char* text)
{
    if (!*text) return false;
    for (const char* p = text; *p; ++p)
        if (!IsLetter(*p) && !IsDigit(*p) && *p != '.') return false;
    return true;
}

bool MyTokenCmp(const char* tokenText, const char* tokenClass)
{
    if (strcmp(tokenClass, "string") == 0) {
        size_t n = strlen(tokenText);
        return n > 0 && tokenText[0] == '"' && tokenText[n - 1] == '"';
    }
    double min, max;
    if (strstr(tokenClass, "inte_")) {
        GetTokenMinMax(tokenClass, min, max);
        return MyIsInteger(tokenText, min, max);
    }
    if (strstr(tokenClass, "nume_")) {
        GetTokenMinMax(tokenClass, min, max);
        return MyIsNumeric(tokenText, min, max);
    }
    if (strcmp(tokenClass, "varn") == 0) return MyIsVariableName(tokenText);
    if (strcmp(tokenClass, "alphnu") == 0) return MyIsAlphanumeric(tokenText);
    return MyStrCmp(tokenText, tokenClass) == 0;
}

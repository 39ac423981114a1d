// The generic backtracking matcher: walks the grammar text over the token list, stamps
// matched tokens with action codes and records on failing tokens the error to report.
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "param/lex.h"
#include "support/messages.h"

namespace {

// One element of a sibling list, parsed from the grammar text.
struct Element {
    int kind = 0;                  // 0..9, see the notation
    uint16_t action = kNoAction;   // action code stamped on a matched token
    int16_t err = 1;               // error recorded on a token the element fails on
    const char* body = nullptr;    // text after the opening brace
    bool isList = false;           // the body is a list of elements, not a token class
    bool matched = false;
};

bool StartsElement(char c) { return c == '<' || c == '%'; }

// Skips one element starting at p (its lead character); returns the text after its brace.
const char* SkipElement(const char* p)
{
    while (*p && *p != '{') ++p;
    if (!*p) return p;
    ++p;
    while (StartsElement(*p)) p = SkipElement(p);
    while (*p && *p != '}') ++p;
    return *p ? p + 1 : p;
}

Element ParseHeader(const char* p)
{
    Element e;
    ++p;  // lead character
    e.kind = 0;
    while (*p >= '0' && *p <= '9') e.kind = e.kind * 10 + (*p++ - '0');
    while (*p && *p != '{') {
        char letter = *p++;
        long value = strtol(p, const_cast<char**>(&p), 10);
        if (letter == 'A' || letter == 'a') e.action = static_cast<uint16_t>(value);
        else if (letter == 'E' || letter == 'e') e.err = static_cast<int16_t>(value);
    }
    e.body = *p ? p + 1 : p;
    e.isList = StartsElement(*e.body);
    return e;
}

std::vector<Element> ParseSiblings(const char* list)
{
    std::vector<Element> children;
    for (const char* p = list; StartsElement(*p); p = SkipElement(p)) children.push_back(ParseHeader(p));
    return children;
}

// The token class of a terminal: its body up to the closing brace.
std::string ClassText(const char* body)
{
    const char* end = strchr(body, '}');
    return end ? std::string(body, end) : std::string(body);
}

bool IsRepeatable(int kind) { return kind >= 6 && kind <= 9; }
bool IsRequired(int kind) { return kind == 2 || kind == 3 || kind == 4 || kind == 5 || kind == 8 || kind == 9; }

}  // namespace

bool CLex::MyLexer(const char* list)
{
    if (!cur) return false;
    std::vector<Element> ch = ParseSiblings(list);
    const size_t n = ch.size();
    SCom* entry = cur;
    size_t i = 0;
    int passCount = 0;
    bool repetition = false;  // set by repeated children; not reset between passes
    SCom* passStart = cur;

    for (;;) {
        while (i < n) {
            Element& c = ch[i];
            if (!repetition && c.matched && c.kind != 6 && c.kind != 8) {
                ++i;
                continue;
            }
            SCom* before = cur;
            if (c.isList) {
                if (!MyLexer(c.body)) {
                    cur = before;
                    if (IsRepeatable(c.kind)) {
                        // The repetition ends; the flag tells whether the child matched so far.
                        c.matched = repetition;
                        repetition = true;
                        ++i;
                        continue;
                    }
                    if (c.kind == 3) break;
                    c.matched = false;
                    ++i;
                    continue;
                }
            } else {
                std::string tokenClass = ClassText(c.body);
                if (!cur) Abort("Error - %s cannot be found in parameter file!\n", tokenClass.c_str());
                if (!MyTokenCmp(cur->text.c_str(), tokenClass.c_str())) {
                    if (!cur->gramPos) {
                        cur->err = c.err;
                        cur->gramPos = c.body;
                    }
                    if (!firstFail) firstFail = cur;
                    if (cur->stmtStart || c.kind == 3) break;
                    if (IsRepeatable(c.kind)) {
                        c.matched = repetition;
                        repetition = false;
                    } else {
                        c.matched = false;
                    }
                    ++i;
                    continue;
                }
                cur->action = c.action;
                cur->err = 0;
                cur->gramPos = nullptr;
                if (firstFail == cur) firstFail = nullptr;
                cur = cur->next;
            }
            // The child matched.
            c.matched = true;
            ++passCount;
            if (c.kind == 4)
                for (Element& s : ch)
                    if (s.kind == 4) s.matched = true;
            if (c.kind == 5)
                for (size_t j = i + 1; j < n; ++j)
                    if (ch[j].kind == 5) ch[j].matched = true;
            if (!c.isList && !cur) break;  // the tokens ran out
            if (IsRepeatable(c.kind) && cur != before) {
                repetition = true;  // try the same child again
                continue;
            }
            ++i;
        }

        // End of a scan: ordered lists are done; unordered ones are scanned again while a
        // pass consumed tokens (a pass that consumed none would only repeat itself).
        int k = (i > 0) ? ch[i - 1].kind : 0;
        bool ordered = i > 0 && (k % 2 == 1);
        if (!ordered && passCount > 0 && cur != passStart) {
            passCount = 0;
            i = 0;
            passStart = cur;
            continue;
        }
        break;
    }

    for (const Element& c : ch) {
        if (!IsRequired(c.kind) || c.matched) continue;
        if (*c.body == '%') {
            // A required statement is missing: only the first failing token keeps its error.
            for (SCom* t = cur; t; t = t->next)
                if (t != firstFail) {
                    t->err = 0;
                    t->gramPos = nullptr;
                }
            cur = nullptr;
        } else {
            cur = entry;
        }
        return false;
    }
    return true;
}

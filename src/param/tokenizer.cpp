// Splits the parameter file into tokens: comments are dropped, words and one-character
// tokens are lower-cased, quoted texts keep their case and their quotes.
#include <cstdio>

#include "param/lex.h"
#include "support/files.h"
#include "support/messages.h"

namespace {

bool IsWordChar(int c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

char Lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

enum class Mode { Between, Word, Quote, LineComment, BlockComment };

// The token being collected, with where it started.
struct Pending {
    std::string text;
    int line = 0, col = 0;
};

}  // namespace

void CLex::AppendToken(const std::string& text, int line, int col)
{
    tokens.emplace_back();
    SCom& t = tokens.back();
    t.text = text;
    t.line = line;
    t.col = col;
    if (last) last->next = &t;
    else first = &t;
    last = &t;
}

void CLex::ReadParamFile()
{
    FILE* fp = Myfopen(fileName.c_str(), "r");
    int line = 1, col = 1;
    Mode mode = Mode::Between;
    Mode resume = Mode::Between;  // mode to return to after a block comment
    Pending tok;

    auto start = [&](Mode m, char c) {
        tok.text.assign(1, c);
        tok.line = line;
        tok.col = col;
        mode = m;
    };
    auto finish = [&]() {
        if (mode == Mode::Word || mode == Mode::Quote) AppendToken(tok.text, tok.line, tok.col);
        mode = Mode::Between;
    };
    auto add = [&](char c) {
        if (tok.text.size() >= kMaxTokenLength)
            Abort("Error - Line %d: a word or quoted text is longer than %d characters.\n", tok.line,
                  static_cast<int>(kMaxTokenLength));
        tok.text.push_back(c);
    };

    int c = fgetc(fp);
    while (c != EOF) {
        int next = fgetc(fp);
        bool lineFeed = c == '\n';
        bool blank = c == ' ' || c == '\t' || c == '\r' || lineFeed;
        int width = 1;  // characters consumed
        if (mode == Mode::BlockComment) {
            if (c == '*' && next == '/') {
                mode = resume;
                width = 2;
            }
        } else if (mode == Mode::LineComment) {
            if (lineFeed) mode = Mode::Between;
        } else if (c == '/' && next == '*') {
            // A block comment starts anywhere, even inside a quoted text, which then goes on
            // after the comment.
            if (mode == Mode::Word) finish();
            resume = mode;
            mode = Mode::BlockComment;
            width = 2;
        } else if (mode == Mode::Quote) {
            if (c == '"') {
                add('"');
                finish();
            } else if (c == ';' || lineFeed) {
                finish();  // the quoted text has no closing quote
                if (c == ';') AppendToken(";", line, col);
            } else {
                add(c == '\r' ? ' ' : static_cast<char>(c));
            }
        } else if (c == '/' && next == '/') {
            finish();
            mode = Mode::LineComment;
            width = 2;
        } else if (blank) {
            finish();
        } else if (c == '"') {
            finish();
            start(Mode::Quote, '"');
        } else if (IsWordChar(c)) {
            if (mode == Mode::Word) add(Lower(static_cast<char>(c)));
            else start(Mode::Word, Lower(static_cast<char>(c)));
        } else {
            finish();
            AppendToken(std::string(1, Lower(static_cast<char>(c))), line, col);
        }

        // Advance the position past the consumed characters.
        if (lineFeed) {
            line++;
            col = 1;
        } else {
            col++;
        }
        if (width == 2) {  // the second character of "/*", "*/" or "//" is never a line feed
            col++;
            next = fgetc(fp);
        }
        c = next;
    }
    if (mode == Mode::BlockComment) mode = resume;  // a quoted text cut by an unclosed comment
    finish();
    bool readError = ferror(fp) != 0;
    fclose(fp);
    if (readError) Abort("Read error!\n");
    MarkStatements();
}

// Collapses runs of ";" into one and marks the first token of every statement.
void CLex::MarkStatements()
{
    for (SCom* t = first; t; t = t->next)
        while (t->text == ";" && t->next && t->next->text == ";") {
            if (t->next == last) last = t;
            t->next = t->next->next;
        }
    bool afterSemicolon = true;
    for (SCom* t = first; t; t = t->next) {
        t->stmtStart = afterSemicolon ? 1 : 0;
        afterSemicolon = t->text == ";";
    }
}

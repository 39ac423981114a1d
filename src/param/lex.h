// Reader of the parameter file: tokens, the grammar text and the generic matcher that checks
// the tokens against it and stamps each matched token with the action code retrieval needs.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "support/errmsg.h"
#include "support/messages.h"

constexpr uint16_t kNoAction = 65535;
// Longest token the tokenizer accepts; longer values than any statement allows are refused by
// the statement itself with its own message.
constexpr size_t kMaxTokenLength = 4096;

// One token of the parameter file.
struct SCom {
    std::string text;          // lower-cased unless quoted; a quoted token keeps its quotes
    int line = 0;              // line of the first character, from 1
    int col = 0;               // column of the first character, from 1
    uint16_t action = kNoAction;  // action of the last terminal that matched the token
    int16_t err = 0;           // error recorded for the token; 0 = none
    uint8_t stmtStart = 0;     // first token of the file or the token after a ";"
    const char* gramPos = nullptr;  // body of the element whose failure set err
    SCom* next = nullptr;      // next token in file order
};

class CLex {
public:
    explicit CLex(const CErrMsg* messages) : errMsg(messages) {}
    CLex(const CLex&) = delete;
    CLex& operator=(const CLex&) = delete;

    // Tokenises the file, builds the grammar and returns only when no syntax error is found.
    void RunLex();
    void ReadParamFile();
    void MakeUpGramBuf();
    // Appends the concatenation of the pieces (ended by an empty text) without white space.
    void AddToGram(const char* first, ...);
    void CheckError();
    // Matches the sibling list starting at `list` against the tokens from `cur`.
    bool MyLexer(const char* list);
    // Prints one error: line, message, the caller's detail, the source line and a caret.
    void PrintError(const SCom* token, bool showCaret, bool fatal, short errNo, const char* format, ...)
        DAVOK_PRINTF(6, 7);
    // Replaces a value class ("string", inte_, nume_) by its generated message.
    static bool GetSelfErrMsg(std::string& tokenClass);
    void ReleaseCtrMem();

    SCom* First() const { return first; }
    int NErr() const { return nErr; }
    const std::string& Grammar() const { return gramBuf; }

    std::string fileName;  // the parameter file as given by the user

private:
    void AppendToken(const std::string& text, int line, int col);
    void MarkStatements();

    const CErrMsg* errMsg;      // message table, owned by the caller
    std::deque<SCom> tokens;    // storage of the token list (stable addresses)
    SCom* first = nullptr;      // first token
    SCom* last = nullptr;       // last token
    int nErr = 0;               // errors printed so far
    SCom* cur = nullptr;        // the matcher's current token
    SCom* firstFail = nullptr;  // first token a terminal failed on and not matched since
    std::string gramBuf;        // the grammar text
};

// Token classes.
bool MyTokenCmp(const char* tokenText, const char* tokenClass);
// MIN and MAX of an inte_/nume_ class; ends the run for a class without two "_".
void GetTokenMinMax(const char* tokenClass, double& min, double& max);
bool MyIsInteger(const char* text, double min, double max);
bool MyIsNumeric(const char* text, double min, double max);
bool MyIsVariableName(const char* text);
bool MyIsAlphanumeric(const char* text);
// Byte comparison returning -1, 0 or 1; a null first argument ends the run.
int MyStrCmp(const char* a, const char* b);

// Running the reader: grammar assembly, the error report of the matcher and the printer of
// one parameter-file error.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "param/lex.h"

void CLex::RunLex()
{
    ReadParamFile();
    MakeUpGramBuf();
    CheckError();
}

void CLex::AddToGram(const char* first, ...)
{
    va_list ap;
    va_start(ap, first);
    for (const char* piece = first; piece && *piece; piece = va_arg(ap, const char*))
        for (const char* p = piece; *p; ++p)
            if (*p != ' ' && *p != '\t' && *p != '\n') gramBuf.push_back(*p);
    va_end(ap);
}

void CLex::CheckError()
{
    // A file of comments only has no statement at all, yet the matcher fails at once on an
    // empty list without a word; the first required statement is named here instead.
    if (!first) Abort("Error - %s cannot be found in parameter file!\n", "begin_hp");
    cur = first;
    nErr = 0;
    firstFail = nullptr;
    bool matched = MyLexer(gramBuf.c_str());
    bool leftOver = matched && cur;  // tokens after the last block
    for (SCom* t = first; t; t = t->next)
        if (t->err != 0) PrintError(t, true, false, t->err, "\n");
    // A file the grammar refuses without any token keeping an error (the error was cleared
    // when the token matched elsewhere) still gets a report at the first unmatched token.
    if (nErr == 0 && first && (!matched || leftOver)) {
        SCom* where = leftOver ? cur : (firstFail ? firstFail : last);
        PrintError(where, true, false, 1, "\n");
    }
    if (nErr > 0) {
        Warn("Error(s) detected in the control file!\n");
        Abort("There may be more errors.\n");
    }
}

bool CLex::GetSelfErrMsg(std::string& tokenClass)
{
    char message[200];
    double min, max;
    if (tokenClass == "string") {
        tokenClass = "The variable must be a string";
        return true;
    }
    if (tokenClass.find("nume_") != std::string::npos) {
        GetTokenMinMax(tokenClass.c_str(), min, max);
        snprintf(message, sizeof message, "The specified value must be a numeric between %g and %g", min, max);
    } else if (tokenClass.find("inte_") != std::string::npos) {
        GetTokenMinMax(tokenClass.c_str(), min, max);
        snprintf(message, sizeof message, "The specified value must be an integer between %d and %d",
                 static_cast<int>(lround(min)), static_cast<int>(lround(max)));
    } else {
        return false;
    }
    tokenClass = message;
    return true;
}

namespace {

// Line `lineNo` of the file, without its line end, at most 1000 characters; false when the
// file has fewer lines.
bool ReadSourceLine(const char* path, int lineNo, std::string& text)
{
    FILE* fp = fopen(path, "r");
    if (!fp) return false;
    int line = 1;
    int c;
    text.clear();
    while ((c = fgetc(fp)) != EOF) {
        if (c == '\n') {
            if (line == lineNo) break;
            ++line;
            continue;
        }
        if (line == lineNo && text.size() < 1000) text.push_back(static_cast<char>(c));
    }
    fclose(fp);
    return line == lineNo;
}

}  // namespace

void CLex::PrintError(const SCom* token, bool showCaret, bool fatal, short errNo, const char* format, ...)
{
    if (errNo == -1) return;
    ++nErr;
    std::string message;
    if (token->gramPos) {
        const char* end = strchr(token->gramPos, '}');
        message.assign(token->gramPos, end ? end : token->gramPos + strlen(token->gramPos));
    }
    if (token->gramPos && GetSelfErrMsg(message))
        Warn("Line %d : Error - %s\n", token->line, message.c_str());
    else
        Warn("Line %d : %s", token->line, errMsg->GetErrMsg(errNo));

    va_list ap;
    va_start(ap, format);
    vfprintf(stderr, format, ap);
    va_end(ap);

    std::string source;
    if (ReadSourceLine(fileName.c_str(), token->line, source)) {
        Warn_Plain("%s\n", source.c_str());
        if (showCaret) Warn_Plain("%*s^", token->col - 1, "");
        Warn_Plain("\n");
    }
    if (fatal) {
        Warn("Error(s) detected in the control file!\n");
        Abort("There may be more errors.\n");
    }
}

void CLex::ReleaseCtrMem()
{
    tokens.clear();
    first = last = cur = firstFail = nullptr;
    gramBuf.clear();
    gramBuf.shrink_to_fit();
}

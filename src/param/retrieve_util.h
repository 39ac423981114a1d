// Small helpers of statement retrieval.
#pragma once

#include <cstdlib>
#include <string>

#include "param/lex.h"

// The text of a quoted token without its quotes.
std::string Unquoted(const SCom* t);
// Turns every backslash into "/".
void SlashesForBackslashes(std::string& s);
inline int IntValue(const SCom* t) { return atoi(t->text.c_str()); }
inline double NumValue(const SCom* t) { return atof(t->text.c_str()); }

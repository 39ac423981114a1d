// Reading parameter texts in unit tests.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/simclass.h"
#include "param/lex.h"
#include "support/test_util.h"

// The small complete parameter file of the end-to-end tests.
std::string MinimalParam();
// MinimalParam with each (old, new) text replaced once; a missing old text fails the test.
std::string MinimalParamWith(const std::vector<std::pair<std::string, std::string>>& edits);
// A parameter text written to a temporary file and split into tokens (no grammar yet).
struct TokenizedText {
    explicit TokenizedText(const std::string& content);
    TempDir dir;
    CErrMsg messages;
    CLex lex{&messages};
};

// Reads a parameter text completely (tokens, grammar check, retrieval; no cross-checks).
SParams ParamsOfText(const std::string& text);
// An engine of the parameters of text, after `adjust` has changed them (the output folder, say).
std::unique_ptr<SimClass> EngineOf(const std::string& text, const std::function<void(SParams&)>& adjust = nullptr);

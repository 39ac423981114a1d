#include "param/param_test_util.h"

#include <gtest/gtest.h>

#include "param/lex.h"
#include "param/reader.h"
#include "support/test_util.h"

std::string MinimalParam()
{
    return ReadFile(std::string(DAVOK_TEST_DATA) + "/cli/data/minimal.prm");
}

std::string MinimalParamWith(const std::vector<std::pair<std::string, std::string>>& edits)
{
    std::string text = MinimalParam();
    for (const auto& [from, to] : edits) {
        size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        if (at != std::string::npos) text.replace(at, from.size(), to);
    }
    return text;
}

TokenizedText::TokenizedText(const std::string& content)
{
    WriteFile(dir / "t.prm", content);
    lex.fileName = dir / "t.prm";
    lex.ReadParamFile();
}

SParams ParamsOfText(const std::string& text)
{
    TempDir dir;
    std::string path = dir / "run.prm";
    WriteFile(path, text);
    return ReadParams(path);
}

std::unique_ptr<SimClass> EngineOf(const std::string& text, const std::function<void(SParams&)>& adjust)
{
    SParams prm = ParamsOfText(text);
    if (adjust) adjust(prm);
    return std::make_unique<SimClass>(prm);
}

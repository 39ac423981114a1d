#include "param/param_test_util.h"

#include <gtest/gtest.h>

#include "param/lex.h"
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

std::unique_ptr<SimClass> ReadParams(const std::string& text)
{
    TempDir dir;
    std::string path = dir / "run.prm";
    WriteFile(path, text);
    auto sim = std::make_unique<SimClass>();
    ReadParameterFile(*sim, path);
    return sim;
}

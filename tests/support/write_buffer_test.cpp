// The chunked writer behind genotype files and crossover lines: when bytes reach the file, and
// which bytes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/write_buffer.h"

namespace {

// Everything written to `fp` so far.
std::string Contents(FILE* fp)
{
    fflush(fp);
    std::string text(static_cast<size_t>(ftell(fp)), '\0');
    rewind(fp);
    if (!text.empty() && fread(&text[0], 1, text.size(), fp) != text.size()) text.clear();
    fseek(fp, 0, SEEK_END);  // writing may follow
    return text;
}

// Writes ten-byte lines "000000042\n" numbered first..last and returns them.
std::string WriteLines(CWriteBuffer& buffer, int first, int last)
{
    std::string text;
    char line[16];
    for (int i = first; i <= last; ++i) {
        buffer.Write("%09d\n", i);
        snprintf(line, sizeof(line), "%09d\n", i);
        text += line;
    }
    return text;
}

// The ten-byte line that takes a chunk past its payload.
constexpr int kLineThatFillsAChunk = CWriteBuffer::kPayload / 10 + 1;

}  // namespace

TEST(WriteBuffer, NormalModeWritesEachChunkAsSoonAsItPassesThePayload)
{
    FILE* fp = tmpfile();
    CWriteBuffer buffer;
    buffer.SetFilePointer(fp);
    std::string expected = WriteLines(buffer, 1, kLineThatFillsAChunk - 1);
    EXPECT_EQ(Contents(fp), "") << "a chunk holding exactly its payload is not yet full";
    expected += WriteLines(buffer, kLineThatFillsAChunk, kLineThatFillsAChunk);
    EXPECT_EQ(Contents(fp), expected);

    const std::string rest = WriteLines(buffer, kLineThatFillsAChunk + 1, kLineThatFillsAChunk + 5);
    EXPECT_EQ(Contents(fp), expected) << "the rest waits for Dump";
    buffer.Dump();
    EXPECT_EQ(Contents(fp), expected + rest);
    fclose(fp);
}

TEST(WriteBuffer, LargeMemoryModeKeepsEveryChunkUntilDump)
{
    FILE* fp = tmpfile();
    {
        CWriteBuffer buffer;
        buffer.SetLargeMem();
        buffer.SetFilePointer(fp);
        const std::string expected = WriteLines(buffer, 1, 3 * kLineThatFillsAChunk + 7);
        EXPECT_EQ(Contents(fp), "");
        buffer.Dump();
        EXPECT_EQ(Contents(fp), expected);

        WriteLines(buffer, 1, 2);
    }
    EXPECT_EQ(Contents(fp).size(), 10u * (3 * kLineThatFillsAChunk + 7)) << "the destructor writes nothing";
    fclose(fp);
}

TEST(WriteBuffer, LargeMemoryModeWritesEverythingOnceAHundredChunksAreFull)
{
    long long written = 0;  // bytes that reached the stream, which keeps none of them
    cookie_io_functions_t counter = {};
    counter.write = [](void* c, const char*, size_t n) -> ssize_t {
        *static_cast<long long*>(c) += static_cast<long long>(n);
        return static_cast<ssize_t>(n);
    };
    FILE* fp = fopencookie(&written, "w", counter);
    CWriteBuffer buffer;
    buffer.SetLargeMem();
    buffer.SetFilePointer(fp);

    // 315 blocks of 10,000 bytes are the first to pass the payload of a chunk.
    const std::string block(10000, 'x');
    for (int i = 0; i < 100 * 315 - 1; ++i) buffer.WriteBinary(block.data(), 10000);
    fflush(fp);
    EXPECT_EQ(written, 0);
    buffer.WriteBinary(block.data(), 10000);
    fflush(fp);
    EXPECT_EQ(written, 315000000LL);
    fclose(fp);
}

TEST(WriteBuffer, NumbersTextAndRawBytesComeOutAsWritten)
{
    FILE* fp = tmpfile();
    CWriteBuffer buffer;
    buffer.SetFilePointer(fp);
    buffer.WriteUnsignedInt(0);
    buffer.WriteUnsignedInt_noS(12);
    buffer.WriteUnsignedInt(2147483647);
    buffer.Write(" %s=%5.2f|", "h2", 0.25);
    const char raw[4] = {'\0', '\xff', '\n', '\x01'};
    buffer.WriteBinary(raw, 4);
    buffer.Dump();
    EXPECT_EQ(Contents(fp), " 012 2147483647 h2= 0.25|" + std::string(raw, 4));
    fclose(fp);
}

TEST(WriteBuffer, ARecordOfAnyLengthIsWrittenWhole)
{
    // Records longer than the headroom, written where a chunk has only its headroom left, and
    // one longer than two whole chunks; in both modes.
    const std::string longLine = std::string(20000, 'y') + "\n";
    const std::string huge(2 * CWriteBuffer::kChunkSize + 123, 'h');
    for (bool large : {false, true}) {
        SCOPED_TRACE(large ? "large-memory mode" : "normal mode");
        FILE* fp = tmpfile();
        CWriteBuffer buffer;
        if (large) buffer.SetLargeMem();
        buffer.SetFilePointer(fp);
        std::string expected = WriteLines(buffer, 1, CWriteBuffer::kPayload / 10);
        buffer.WriteBinary("12345678", 8);  // exactly the payload: not yet full
        expected += "12345678";
        buffer.Write("%s", longLine.c_str());
        buffer.WriteBinary(huge.data(), static_cast<int>(huge.size()));
        buffer.Write("%s|%d\n", longLine.c_str(), 7);
        expected += longLine + huge + longLine + "|7\n";
        expected += WriteLines(buffer, 1, 3);
        buffer.Dump();
        EXPECT_TRUE(Contents(fp) == expected) << "lengths " << Contents(fp).size() << " and " << expected.size();
        fclose(fp);
    }
}

TEST(WriteBuffer, ALineOfValuesEqualsTheValuesWrittenOneByOne)
{
    // More values than one run, of one to five digits, started just below a chunk's payload so
    // that the runs cross into the next chunk.
    std::vector<uint16_t> values;
    for (int k = 0; k < 5000; ++k) values.push_back(static_cast<uint16_t>(k % 7 == 0 ? 65535 - k : k % 12));
    FILE* oneByOne = tmpfile();
    FILE* bulk = tmpfile();
    CWriteBuffer a, b;
    a.SetFilePointer(oneByOne);
    b.SetFilePointer(bulk);
    WriteLines(a, 1, CWriteBuffer::kPayload / 10 - 1);
    WriteLines(b, 1, CWriteBuffer::kPayload / 10 - 1);
    for (uint16_t v : values) a.WriteUnsignedInt(v);
    b.WriteUnsignedInts(values.data(), values.size());
    a.Dump();
    b.Dump();
    const std::string expected = Contents(oneByOne);
    EXPECT_GT(expected.size(), static_cast<size_t>(CWriteBuffer::kChunkSize));
    EXPECT_TRUE(Contents(bulk) == expected);
    fclose(oneByOne);
    fclose(bulk);
}

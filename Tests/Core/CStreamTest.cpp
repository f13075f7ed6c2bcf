#include "Core/CByteBuffer.h"
#include "Core/CInputZipStream.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/COutputZipStream.h"
#include "Core/CString.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <string>
#include <vector>

using namespace kel;
using kel::test::CErrorText;

namespace
{
// Every test here must give back all it takes from the allocator.
class CStreamTest : public testing::Test
{
protected:
    void SetUp() override { liveBefore = CAllocator::liveBlocks(); }
    void TearDown() override { EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "leaked blocks"; }

    int64_t liveBefore = 0;
};

std::vector<uint8_t> bytesOf(const CMemoryWriteBuffer& buffer)
{
    return std::vector<uint8_t>(buffer.getData(), buffer.getData() + buffer.getSize());
}

// Payload with some structure and some noise, so that deflate has work of both kinds.
std::vector<uint8_t> payload(size_t size)
{
    std::vector<uint8_t> data(size);
    uint32_t seed = 99;
    for (size_t i = 0; i < size; ++i)
    {
        seed = seed * 1103515245u + 12345u;
        data[i] = (i / 64) % 2 ? static_cast<uint8_t>(seed >> 24) : static_cast<uint8_t>(i);
    }
    return data;
}

constexpr uint32_t kId = 0x73727061; // "aprs" on the wire
} // namespace

TEST_F(CStreamTest, IntegersAndRealsTravelLittleEndianWithoutAlignment)
{
    CMemoryWriteBuffer out(128);
    ASSERT_EQ(out.writeUInt8(0xAB), nullptr);
    ASSERT_EQ(out.writeUInt16(0x1234), nullptr);
    ASSERT_EQ(out.writeInt16(-2), nullptr);
    ASSERT_EQ(out.writeUInt32(0x89ABCDEFu), nullptr);
    ASSERT_EQ(out.writeInt32(-5), nullptr);
    ASSERT_EQ(out.writeUInt64(0x0102030405060708ull), nullptr);
    ASSERT_EQ(out.writeInt64(-7), nullptr);
    ASSERT_EQ(out.writeFloat(1.5f), nullptr);
    ASSERT_EQ(out.writeDouble(-0.25), nullptr);

    const std::vector<uint8_t> bytes = bytesOf(out);
    ASSERT_EQ(bytes.size(), 1u + 2 + 2 + 4 + 4 + 8 + 8 + 4 + 8);
    const std::vector<uint8_t> head = {0xAB, 0x34, 0x12, 0xFE, 0xFF, 0xEF, 0xCD, 0xAB, 0x89};
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 9), head);
    EXPECT_EQ(bytes[13], 0x08);
    EXPECT_EQ(bytes[20], 0x01);
    const std::vector<uint8_t> doubleBytes = {0, 0, 0, 0, 0, 0, 0xD0, 0xBF};
    EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 8, bytes.end()), doubleBytes);

    CMemoryReader in(bytes.data(), bytes.size());
    uint8_t u8 = 0;
    uint16_t u16 = 0;
    int16_t i16 = 0;
    uint32_t u32 = 0;
    int32_t i32 = 0;
    uint64_t u64 = 0;
    int64_t i64 = 0;
    float f = 0;
    double d = 0;
    ASSERT_EQ(in.readUInt8(u8), nullptr);
    ASSERT_EQ(in.readUInt16(u16), nullptr);
    ASSERT_EQ(in.readInt16(i16), nullptr);
    ASSERT_EQ(in.readUInt32(u32), nullptr);
    ASSERT_EQ(in.readInt32(i32), nullptr);
    ASSERT_EQ(in.readUInt64(u64), nullptr);
    ASSERT_EQ(in.readInt64(i64), nullptr);
    ASSERT_EQ(in.readFloat(f), nullptr);
    ASSERT_EQ(in.readDouble(d), nullptr);
    EXPECT_EQ(u8, 0xAB);
    EXPECT_EQ(u16, 0x1234);
    EXPECT_EQ(i16, -2);
    EXPECT_EQ(u32, 0x89ABCDEFu);
    EXPECT_EQ(i32, -5);
    EXPECT_EQ(u64, 0x0102030405060708ull);
    EXPECT_EQ(i64, -7);
    EXPECT_EQ(f, 1.5f);
    EXPECT_EQ(d, -0.25);
    EXPECT_EQ(CErrorText::takeMessage(in.readUInt8(u8)),
              "Premature end of memory resource while reading (pos 41, count "
              "1, size 41).");
}

TEST_F(CStreamTest, MemoryReaderIsAllOrNothingAndHandsOutItsData)
{
    const uint8_t data[5] = {1, 2, 3, 4, 5};
    CMemoryReader in(data, sizeof(data));
    EXPECT_EQ(in.getData(), data);
    ASSERT_EQ(in.consume(2), nullptr);
    uint8_t four[4] = {};
    EXPECT_EQ(CErrorText::takeMessage(in.read(four, 4)),
              "Premature end of memory resource while reading (pos 2, count 4, size 5).");
    EXPECT_EQ(in.getPosition(), 2) << "a failed read takes nothing";
    EXPECT_EQ(CErrorText::takeMessage(in.consume(4)),
              "Premature end of memory resource while consuming (pos 2, count 4, size 5).");
    size_t got = 0;
    ASSERT_EQ(in.readStreamed(four, 4, got), nullptr);
    EXPECT_EQ(got, 3u);
    EXPECT_EQ(four[2], 5);
    ASSERT_EQ(in.readStreamed(four, 4, got), nullptr);
    EXPECT_EQ(got, 0u);
    int64_t size = 0;
    ASSERT_EQ(in.getSize(size), nullptr);
    EXPECT_EQ(size, 5);
}

TEST_F(CStreamTest, MemoryWriteBufferGrowsAndFillsGapsWithZeros)
{
    CMemoryWriteBuffer out(4);
    const std::vector<uint8_t> data = payload(1000);
    ASSERT_EQ(out.write(data.data(), 3), nullptr);
    ASSERT_EQ(out.setPosition(6), nullptr);
    ASSERT_EQ(out.writeUInt8(9), nullptr);
    ASSERT_EQ(out.setPosition(1), nullptr);
    ASSERT_EQ(out.writeUInt8(7), nullptr);
    const std::vector<uint8_t> expected = {data[0], 7, data[2], 0, 0, 0, 9};
    EXPECT_EQ(bytesOf(out), expected);
    ASSERT_EQ(out.setPosition(7), nullptr);
    ASSERT_EQ(out.write(data.data(), data.size()), nullptr);
    EXPECT_EQ(out.getSize(), 1007u);

    CMemoryWriteBuffer copy(128);
    ASSERT_EQ(out.writeTo(copy), nullptr);
    EXPECT_EQ(bytesOf(copy), bytesOf(out));
    EXPECT_EQ(CErrorText::takeMessage(out.setPosition(-1)), "Invalid position -1.");
}

TEST_F(CStreamTest, StringsRoundTripAsUtf8AndStayNarrowBelow256)
{
    CString wide;
    wide.appendCodePoint(0x3A9);   // Greek capital omega
    wide.appendCodePoint(0x1F600); // beyond 16 bits: a surrogate pair
    CString latin("caf\xE9");      // e with acute, a narrow unit above 127
    CString longText;
    for (int i = 0; i < 50; ++i)
        longText.appendUnit(static_cast<uint16_t>('a' + i % 26));
    const CString texts[] = {CString(), CString("abc"), latin, wide, longText};

    CMemoryWriteBuffer out(128);
    for (const CString& text : texts)
        ASSERT_EQ(out.writeString(text), nullptr);
    const std::vector<uint8_t> bytes = bytesOf(out);
    // "" is a bare zero length; "café" takes five bytes of UTF-8.
    EXPECT_EQ(bytes[0] | bytes[1] | bytes[2] | bytes[3], 0);
    const uint8_t cafe[] = {5, 0, 0, 0, 'c', 'a', 'f', 0xC3, 0xA9};
    EXPECT_EQ(std::memcmp(bytes.data() + 4 + 7, cafe, sizeof(cafe)), 0);
    const uint8_t wideBytes[] = {6, 0, 0, 0, 0xCE, 0xA9, 0xF0, 0x9F, 0x98, 0x80};
    EXPECT_EQ(std::memcmp(bytes.data() + 4 + 7 + 9, wideBytes, sizeof(wideBytes)), 0);

    CMemoryReader in(bytes.data(), bytes.size());
    for (const CString& text : texts)
    {
        CString back("stale");
        ASSERT_EQ(in.readString(back), nullptr);
        EXPECT_TRUE(back == text);
        EXPECT_EQ(back.isWide(), text.isWide());
    }
    EXPECT_FALSE(texts[2].isWide());
}

TEST_F(CStreamTest, StringOf61440BytesReadsAnd61441Fails)
{
    for (const uint32_t length : {61440u, 61441u})
    {
        CMemoryWriteBuffer out(128);
        ASSERT_EQ(out.writeUInt32(length), nullptr);
        const std::vector<uint8_t> text(length, 'x');
        ASSERT_EQ(out.write(text.data(), text.size()), nullptr);
        CMemoryReader in(out.getData(), out.getSize());
        CString back;
        CError* error = in.readString(back);
        if (length == 61440u)
        {
            ASSERT_EQ(error, nullptr);
            EXPECT_EQ(back.getLength(), 61440);
        }
        else
        {
            ASSERT_NE(error, nullptr);
            EXPECT_STREQ(error->getKey(), "kelstr_CInputStream_readString_StringDataTooLong");
            EXPECT_EQ(CErrorText::takeMessage(error),
                      "String length 61441 too long in readString().");
            EXPECT_EQ(in.getPosition(), 4) << "the text itself is not read";
        }
    }
}

TEST_F(CStreamTest, DecodingStopsAtACutSequenceOrAZeroAndDropsStrayLeadBytes)
{
    struct Case
    {
        std::string wire;
        std::string expected; // narrow units
    };
    const Case cases[] = {
        {"ab\xE2\x82", "ab"},          // a three-byte sequence cut by the end of the data
        {"a\xF0\x9F\x98", "a"},        // a four-byte one
        {std::string("a\0b", 3), "a"}, // a zero ends the string
        {"a\xFF"
         "b\x80"
         "c",
         "abc"}, // lead bytes of no known form are dropped
        {"", ""},
    };
    for (const Case& c : cases)
    {
        CMemoryWriteBuffer out(128);
        ASSERT_EQ(out.writeUInt32(static_cast<uint32_t>(c.wire.size())), nullptr);
        ASSERT_EQ(out.write(c.wire.data(), c.wire.size()), nullptr);
        ASSERT_EQ(out.writeUInt8(0x5A), nullptr);
        CMemoryReader in(out.getData(), out.getSize());
        CString back;
        ASSERT_EQ(in.readString(back), nullptr);
        EXPECT_TRUE(back == c.expected.c_str()) << "wire of " << c.wire.size() << " bytes";
        uint8_t after = 0;
        ASSERT_EQ(in.readUInt8(after), nullptr);
        EXPECT_EQ(after, 0x5A) << "the whole length is consumed";
    }
}

TEST_F(CStreamTest, AsciiStringsAreBytesAndWideOnesAreRefused)
{
    CMemoryWriteBuffer out(128);
    ASSERT_EQ(out.writeASCIIString(CString("caf\xE9")), nullptr);
    const std::vector<uint8_t> expected = {4, 0, 0, 0, 'c', 'a', 'f', 0xE9};
    EXPECT_EQ(bytesOf(out), expected);

    CString wide("x");
    wide.appendCodePoint(0x3A9);
    CError* error = out.writeASCIIString(wide);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_COutputStream_writeASCIIString_NotASCIIString");
    EXPECT_EQ(CErrorText::takeMessage(error), "Not an ASCII string 'x\xCE\xA9' supplied.");
    EXPECT_EQ(out.getSize(), expected.size());
}

TEST_F(CStreamTest, CompressedBlocksRoundTripAtEverySizeAndBackToBack)
{
    const size_t sizes[] = {0, 1, 32, 33, 4096, 200000};
    CMemoryWriteBuffer out(128);
    for (size_t size : sizes)
    {
        const std::vector<uint8_t> data = payload(size);
        ASSERT_EQ(out.writeCompressedData(data.data(), data.size(), kId + size), nullptr);
    }
    // The head of the first block: id, size, CRC of the size's bytes, then a zlib header.
    const uint8_t* bytes = out.getData();
    const uint8_t head[] = {0x61, 0x70, 0x72, 0x73, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(bytes, head, sizeof(head)), 0);
    uint32_t crc = 0;
    std::memcpy(&crc, bytes + 8, 4);
    EXPECT_EQ(crc, crc32(0L, bytes + 4, 4));
    EXPECT_EQ(bytes[12], 0x78);

    CMemoryReader in(out.getData(), out.getSize());
    for (size_t size : sizes)
    {
        CByteBuffer back;
        ASSERT_EQ(back.assign("old", 3), true);
        ASSERT_EQ(in.readCompressedData(back, kId + size), nullptr) << size;
        ASSERT_EQ(back.getSize(), size);
        EXPECT_EQ(back.isInline(), size <= 32);
        const std::vector<uint8_t> data = payload(size);
        EXPECT_TRUE(size == 0 || std::memcmp(back.getData(), data.data(), size) == 0) << size;
    }
    EXPECT_EQ(in.getPosition(), static_cast<int64_t>(out.getSize()))
        << "each read ends right behind its block";
}

TEST_F(CStreamTest, WrongIdFailsWithBothIdsInDecimal)
{
    CMemoryWriteBuffer out(128);
    ASSERT_EQ(out.writeCompressedData("abc", 3, 2), nullptr);
    CMemoryReader in(out.getData(), out.getSize());
    CByteBuffer back;
    EXPECT_EQ(CErrorText::takeMessage(in.readCompressedData(back, 1)),
              "Invalid ID encountered when reading compressed data (expected 1, read 2).");
}

TEST_F(CStreamTest, DamagedSizeFailsOnTheCrcBeforeAnyAllocation)
{
    CMemoryWriteBuffer out(128);
    const std::vector<uint8_t> data = payload(100);
    ASSERT_EQ(out.writeCompressedData(data.data(), data.size(), kId), nullptr);
    std::vector<uint8_t> bytes = bytesOf(out);
    bytes[7] = 0x7F; // 100 becomes 2130706532
    const uint32_t rightCrc = crc32(0L, bytes.data() + 4, 4);
    uint32_t storedCrc = 0;
    std::memcpy(&storedCrc, bytes.data() + 8, 4);

    CMemoryReader in(bytes.data(), bytes.size());
    CByteBuffer back;
    ASSERT_EQ(back.assign("kept", 4), true);
    // A wrong id fails before anything is read: what it allocates is the error alone, and a
    // CRC failure must allocate no more than that.
    CAllocator::watchThread(CThisThread::id());
    CMemoryReader wrongId(bytes.data(), bytes.size());
    delete wrongId.readCompressedData(back, kId + 1);
    const uint64_t errorAllocations = CAllocator::watchedAllocations();
    CAllocator::watchThread(CThisThread::id());
    CError* error = in.readCompressedData(back, kId);
    EXPECT_EQ(CAllocator::watchedAllocations(), errorAllocations);
    CAllocator::watchThread(0);
    const std::string expected = "Invalid CRC encountered when reading compressed data (expected " +
                                 std::to_string(rightCrc) + ", read " + std::to_string(storedCrc) +
                                 ").";
    EXPECT_EQ(CErrorText::takeMessage(error), expected.c_str());
    ASSERT_EQ(back.getSize(), 4u);
    EXPECT_EQ(std::memcmp(back.getData(), "kept", 4), 0);
}

TEST_F(CStreamTest, CorruptPayloadReturnsZlibsMessage)
{
    CMemoryWriteBuffer out(128);
    const std::vector<uint8_t> data = payload(3000);
    ASSERT_EQ(out.writeCompressedData(data.data(), data.size(), kId), nullptr);
    const std::vector<uint8_t> good = bytesOf(out);

    std::vector<uint8_t> badHeader = good;
    badHeader[12] = 0x00; // the zlib header's method
    std::vector<uint8_t> badCheck = good;
    badCheck.back() ^= 0x55; // the Adler-32 at the end
    std::vector<uint8_t> cut(good.begin(), good.begin() + good.size() / 2);

    struct Case
    {
        const std::vector<uint8_t>* bytes;
        const char* message;
    };
    const Case cases[] = {
        {&badHeader, "zlib inflate error -3 (incorrect header check)."},
        {&badCheck, "zlib inflate error -3 (incorrect data check)."},
        {&cut, "Premature end of file."},
    };
    for (const Case& c : cases)
    {
        CMemoryReader in(c.bytes->data(), c.bytes->size());
        CByteBuffer back;
        CError* error = in.readCompressedData(back, kId);
        ASSERT_NE(error, nullptr) << c.message;
        // The chain names how far into the block the failure came.
        bool namesPosition = false;
        for (int i = 0; i < error->getFrameCount(); ++i)
            namesPosition |= std::strstr(error->getFrameName(i), "compressed block") != nullptr;
        EXPECT_TRUE(namesPosition) << c.message;
        EXPECT_EQ(CErrorText::takeMessage(error), c.message);
    }
}

TEST_F(CStreamTest, ABlockCutInsideItsCheckValueStillGivesItsWholePayload)
{
    CMemoryWriteBuffer out(128);
    const std::vector<uint8_t> data = payload(3000);
    ASSERT_EQ(out.writeCompressedData(data.data(), data.size(), kId), nullptr);
    const std::vector<uint8_t> good = bytesOf(out);
    // The Adler-32 is the stream's last four bytes: any cut within it leaves the data whole.
    for (size_t cut = 1; cut <= 4; ++cut)
    {
        CMemoryReader in(good.data(), good.size() - cut);
        CByteBuffer back;
        ASSERT_EQ(in.readCompressedData(back, kId), nullptr) << cut;
        ASSERT_EQ(back.getSize(), data.size());
        EXPECT_EQ(std::memcmp(back.getData(), data.data(), data.size()), 0);
    }
    // A cut into the data itself leaves it short.
    CMemoryReader in(good.data(), good.size() - 40);
    CByteBuffer back;
    EXPECT_EQ(CErrorText::takeMessage(in.readCompressedData(back, kId)), "Premature end of file.");
}

TEST_F(CStreamTest, HugeSizeWithGoodCrcButShortStreamFailsWithoutClaimingTheSize)
{
    CMemoryWriteBuffer out(128);
    ASSERT_EQ(out.writeCompressedData("tiny", 4, kId), nullptr);
    std::vector<uint8_t> bytes = bytesOf(out);
    const uint8_t huge[4] = {0xFF, 0xFF, 0xFF, 0xF0};
    std::memcpy(bytes.data() + 4, huge, 4);
    const uint32_t crc = crc32(0L, huge, 4);
    std::memcpy(bytes.data() + 8, &crc, 4);
    CMemoryReader in(bytes.data(), bytes.size());
    CByteBuffer back;
    EXPECT_EQ(CErrorText::takeMessage(in.readCompressedData(back, kId)), "Premature end of file.");
    EXPECT_LE(back.getSize(), 65536u);
}

TEST_F(CStreamTest, ZipStreamsReportMissingStreamsAndRefuseToConsume)
{
    CInputZipStream inZip;
    uint8_t byte = 0;
    EXPECT_EQ(CErrorText::takeMessage(inZip.read(&byte, 1)), "Input stream not specified.");
    EXPECT_EQ(CErrorText::takeMessage(inZip.consume(1)),
              "Consuming is not supported in zip streams.");
    ASSERT_EQ(inZip.close(), nullptr);

    COutputZipStream outZip;
    EXPECT_EQ(CErrorText::takeMessage(outZip.write("x", 1)), "Output stream not specified.");
    CMemoryWriteBuffer target(128);
    const std::string bad = CErrorText::takeMessage(outZip.open(&target, 42));
    EXPECT_EQ(bad, "zlib deflateInit error -2 (stream error).");
}

TEST_F(CStreamTest, ZipStreamsCarryLargeDataThroughSmallBuffers)
{
    const std::vector<uint8_t> data = payload(100000);
    CMemoryWriteBuffer target(128);
    COutputZipStream outZip;
    ASSERT_EQ(outZip.open(&target, 9, 64), nullptr);
    for (size_t at = 0; at < data.size(); at += 777)
        ASSERT_EQ(outZip.write(data.data() + at, std::min<size_t>(777, data.size() - at)), nullptr);
    ASSERT_EQ(outZip.close(), nullptr);
    ASSERT_EQ(target.writeUInt32(0xDEADBEEF), nullptr);

    CMemoryReader source(target.getData(), target.getSize());
    CInputZipStream inZip;
    ASSERT_EQ(inZip.open(&source, 100), nullptr);
    std::vector<uint8_t> back(data.size());
    size_t got = 0;
    ASSERT_EQ(inZip.readStreamed(back.data(), 10, got), nullptr);
    EXPECT_GT(got, 0u);
    ASSERT_EQ(inZip.read(back.data() + got, back.size() - got), nullptr);
    EXPECT_EQ(back, data);
    EXPECT_EQ(CErrorText::takeMessage(inZip.read(back.data(), 1)), "Premature end of file.");
    ASSERT_EQ(inZip.close(), nullptr);
    uint32_t tail = 0;
    ASSERT_EQ(source.readUInt32(tail), nullptr);
    EXPECT_EQ(tail, 0xDEADBEEFu) << "input read ahead is handed back";
}

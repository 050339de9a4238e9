#include "Basic/FendrakeStdLib/FendrakeBitUtils.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

using testing::HasSubstr;

namespace {
// A naive model: one bool per bit, most significant first.
struct Bits {
    explicit Bits(const std::vector<unsigned char>& iBytes) {
        for (unsigned char byte : iBytes)
            for (int i = 7; i >= 0; --i)
                mBits.push_back((byte >> i) & 1);
    }
    void Set(unsigned iAt, unsigned iValue, unsigned iWidth) {
        for (unsigned i = 0; i < iWidth; ++i)
            mBits[iAt + i] = i + 32 < iWidth ? 0 : (iValue >> (iWidth - 1 - i)) & 1;
    }
    // WriteUint: a field inside one byte zeroes the bits above it there.
    void Write(unsigned iAt, unsigned iValue, unsigned iWidth) {
        Set(iAt, iValue, iWidth);
        if (iAt % 8 != 0 && iAt % 8 + iWidth < 8)
            Set(iAt - iAt % 8, 0, iAt % 8);
    }
    std::vector<unsigned char> Bytes() const {
        std::vector<unsigned char> bytes(mBits.size() / 8);
        for (size_t i = 0; i < mBits.size(); ++i)
            bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] | (mBits[i] << (7 - i % 8)));
        return bytes;
    }
    std::vector<int> mBits;
};

unsigned Mask(unsigned iWidth) {
    return iWidth >= 32 ? ~0u : (1u << iWidth) - 1;
}

std::vector<unsigned char> RandomBytes(std::mt19937& ioRandom, size_t iCount) {
    std::vector<unsigned char> bytes(iCount);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(ioRandom());
    return bytes;
}
} // namespace

// Every width from 1 to 32 at every bit offset: what is written reads back,
// by the step readers too; both positions advance by the width; the bits
// around the field keep their value, but for WriteUint's zeroing of the bits
// above a field that lies inside one byte.
TEST(BitPositionTest, RoundTripsAtEveryWidthAndOffset) {
    std::mt19937 random(5);
    for (unsigned width = 1; width <= 32; ++width) {
        for (unsigned offset = 0; offset < 8; ++offset) {
            const unsigned values[] = {0, Mask(width), unsigned(random()) & Mask(width)};
            for (unsigned value : values) {
                SCOPED_TRACE(testing::Message()
                             << "width " << width << " offset " << offset << " value " << value);
                const std::vector<unsigned char> background = RandomBytes(random, 6);
                Bits expected(background);
                expected.Write(offset, value, width);
                std::vector<unsigned char> plain = background;
                BitPosition writer(plain.data(), offset);
                writer.WriteUint(value, width);
                EXPECT_EQ(expected.Bytes(), plain);
                EXPECT_EQ((offset + width) / 8, unsigned(writer.mBytePos - plain.data()));
                EXPECT_EQ((offset + width) % 8, writer.mBitPos);

                std::vector<unsigned char> ored(6, 0);
                BitPosition orWriter(ored.data(), offset);
                orWriter.WriteUintOr(value, width);
                Bits zero(std::vector<unsigned char>(6, 0));
                zero.Set(offset, value, width);
                EXPECT_EQ(zero.Bytes(), ored);
                EXPECT_EQ(writer.mBitPos, orWriter.mBitPos);

                BitPositionConst reader(plain.data(), offset), step(plain.data(), offset);
                EXPECT_EQ(value, reader.ReadUint(width));
                EXPECT_EQ(writer.mBytePos, reader.mBytePos);
                EXPECT_EQ(writer.mBitPos, reader.mBitPos);
                // The step readers, where a field of their width fits its byte.
                if ((width != 2 && width != 4) || offset + width > 8)
                    continue;
                EXPECT_EQ(value, width == 2 ? step.Uint2() : step.Uint4());
                EXPECT_EQ(writer.mBytePos, step.mBytePos);
                EXPECT_EQ(writer.mBitPos, step.mBitPos);
            }
        }
    }
}

TEST(BitPositionTest, MisusesAssertWithTheirPlaceAndText) {
    const unsigned char in[] = {0x01, 0x80};
    unsigned char out[2] = {0, 0};
    struct Row {
        int mLine;
        std::function<void()> mCall;
        const char* mPlace;
        const char* mText;
    };
    const Row rows[] = {
        {__LINE__, [&] { BitPositionConst(in, 7).Uint2(); }, "src/FendrakeBitUtils:37 ",
         "Assertion `mBitPos<=6' failed"},
        {__LINE__, [&] { BitPositionConst(in, 5).Uint4(); },
         "src/FendrakeBitUtils:", "Assertion `mBitPos<=4' failed"},
        {__LINE__, [&] { BitPosition(out).WriteUint8aRepeated(1, 0, 3); },
         "FendrakeStdLib/FendrakeBitUtils:", "Assertion `data_bit_length!=0' failed"},
        {__LINE__, [&] { BitPosition(out, 1).WriteUint8aRepeated(1, 2, 4); },
         "FendrakeStdLib/FendrakeBitUtils:", "Assertion `mBitPos<=(8-data_bit_length)' failed"},
        // Last: its details line is checked below.
        {__LINE__, [&] { BitPosition(out).WriteUint(5, 2); }, "src/FendrakeBitUtils:",
         "Assertion `data_bit_length==32 || (data&(~((1<<data_bit_length)-1))) == 0' failed"}};
    CaptureScope scope;
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        ClearCaptured();
        EXPECT_THROW(row.mCall(), AssertionFired);
        EXPECT_THAT(CapturedOutput(), HasSubstr(row.mPlace));
        EXPECT_THAT(CapturedOutput(), HasSubstr(row.mText));
    }
    EXPECT_THAT(CapturedOutput(), HasSubstr("Precondition check:The upper bits of data higher "
                                            "that length are not zero (data:5 len:2)\n"));
    // The units before the one that would cross the byte went in.
    EXPECT_EQ(0x2A, out[0]);
    EXPECT_EQ(0u, BitPositionConst(in).ReadUint(0));
}

TEST(BitPositionTest, RepeatedWritersMatchTheModel) {
    std::mt19937 random(9);
    for (unsigned width = 1; width <= 8; ++width) {
        for (unsigned count = 0; count <= 21; ++count) {
            const unsigned offset = 8 % width == 0 ? width * (random() % (8 / width)) : 3;
            const unsigned char data = static_cast<unsigned char>(random() & Mask(width));
            SCOPED_TRACE(testing::Message() << "width " << width << " count " << count);
            const std::vector<unsigned char> background = RandomBytes(random, 24);
            Bits expected(background);
            for (unsigned i = 0; i < count; ++i)
                expected.Set(offset + i * width, data, width);
            std::vector<unsigned char> fast = background;
            BitPosition writer(fast.data(), offset);
            writer.WriteUint8aRepeated(data, width, count);
            EXPECT_EQ(expected.Bytes(), fast);
            EXPECT_EQ((offset + count * width) / 8, unsigned(writer.mBytePos - fast.data()));
            EXPECT_EQ((offset + count * width) % 8, writer.mBitPos);

            std::vector<unsigned char> slow(24, 0);
            BitPosition repeated(slow.data());
            repeated.WriteUintRepeated(data, width, count);
            Bits zero(std::vector<unsigned char>(24, 0));
            for (unsigned i = 0; i < count; ++i)
                zero.Write(i * width, data, width);
            EXPECT_EQ(zero.Bytes(), slow);
        }
    }
}

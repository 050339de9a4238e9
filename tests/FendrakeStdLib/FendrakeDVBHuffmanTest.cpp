#include "Basic/FendrakeStdLib/FendrakeDVBString.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {
struct DvbHuffmanCode {
    int mPrevious;
    const char* mBits;
    int mCharacter;
};
#include "data/HuffmanTestTable.inc"

typedef std::vector<unsigned char> Bytes;
const DvbHuffmanTable kTables[2] = {{sHuffmanTestTable, sizeof sHuffmanTestTable}, {nullptr, 0}};

// Encodes with the same code list the table was built from; characters
// without a code go out escaped.
class Encoder {
public:
    Encoder() {
        for (const DvbHuffmanCode& code : sHuffmanTestTableCodes)
            mCodes[{code.mPrevious, code.mCharacter}] = code.mBits;
    }

    Bytes Encode(const std::string& iText, int iTable = 1, bool iEnd = true) {
        mBits.clear();
        Raw(0x1F);
        Raw(iTable);
        int previous = 0;
        bool escaped = false;
        for (unsigned char c : iText) {
            if (!escaped && mCodes.count({previous, c})) {
                mBits += mCodes[{previous, c}];
                previous = c;
                continue;
            }
            if (!escaped)
                mBits += mCodes.at({previous, 27});
            Raw(c);
            escaped = c >= 0x80;
            if (!escaped)
                previous = c;
        }
        // Where no code ends the text, the missing 0 branch does.
        mEndLeaf = iEnd && !escaped && mCodes.count({previous, 0});
        if (iEnd && escaped)
            Raw(0);
        else if (iEnd)
            mBits += mEndLeaf ? mCodes[{previous, 0}] : "0";
        Bytes out((mBits.size() + 7) / 8, 0);
        for (size_t i = 0; i < mBits.size(); ++i)
            out[i / 8] |= (mBits[i] == '1') << (7 - i % 8);
        return out;
    }

private:
    void Raw(unsigned int iByte) {
        for (int bit = 7; bit >= 0; --bit)
            mBits += (iByte >> bit) & 1 ? '1' : '0';
    }

    std::map<std::pair<int, int>, std::string> mCodes;
    std::string mBits;

public:
    // Whether the last text ended with a code for 0, which is stored as well.
    bool mEndLeaf = false;
};

// Decodes into a guarded output; returns the result and the text before the NUL.
std::pair<int, std::string> Decode(const Bytes& iIn, int iCapacity) {
    std::vector<unsigned char> out(iCapacity + 4, 0xEE);
    int size = iCapacity;
    const int result = dvb_huffman_decode_with(kTables, iIn.data(), out.data(), size,
                                               static_cast<unsigned int>(iIn.size()));
    for (int i = iCapacity; i < iCapacity + 4; ++i)
        EXPECT_EQ(0xEE, out[i]) << "written past the output at " << i;
    if (result <= 0)
        return {result, ""};
    EXPECT_EQ(result, size);
    EXPECT_EQ(0, out[result - 1]);
    return {result, std::string(reinterpret_cast<char*>(out.data()))};
}
} // namespace

TEST(FendrakeDVBHuffmanTest, BitArrayReadsMostSignificantFirstAndZerosPastTheEnd) {
    const unsigned char data[] = {0xA5, 0x0F};
    HuffmanBitArray bits(data, 2);
    EXPECT_EQ(1u, bits.ReadUint(1));
    EXPECT_EQ(0x4Au, bits.ReadUint(8));
    EXPECT_EQ(0x0Fu, bits.ReadUint(7));
    EXPECT_EQ(0u, bits.ReadUint(8));
    const unsigned char offsets[] = {0x12, 0x34, 0x01, 0x00};
    EXPECT_EQ(0x1234u, dvb_huffman_get_tree_offset(offsets, 0));
    EXPECT_EQ(0x100u, dvb_huffman_get_tree_offset(offsets, static_cast<char>(0x81)));
}

TEST(FendrakeDVBHuffmanTest, DecodesWhatTheCodeListEncodes) {
    static const char* const kTexts[] = {
        "The bat",
        "a bab",
        "",
        "b a T",
        "xy",
        "The \351a\351 a", // octal: a hex escape would swallow the 'a'
        "\xc3\xa9\xc3\xa8!",
        "az",
    };
    Encoder encoder;
    for (const char* text : kTexts) {
        SCOPED_TRACE(text);
        auto decoded = Decode(encoder.Encode(text), 64);
        EXPECT_EQ(text, decoded.second);
        EXPECT_EQ(static_cast<int>(strlen(text)) + 1 + encoder.mEndLeaf, decoded.first);
    }
}

TEST(FendrakeDVBHuffmanTest, EndsAtMissingBranchesFullOutputAndRunOutStreams) {
    Encoder encoder;
    // After 'x' a 0 bit has no branch: the text ends there.
    Bytes stream = encoder.Encode("ax", 1, false);
    EXPECT_EQ("ax", Decode(stream, 64).second);

    // A full output keeps the NUL inside it.
    auto cut = Decode(encoder.Encode("The bat"), 4);
    EXPECT_EQ(4, cut.first);
    EXPECT_EQ("The", cut.second);
    auto escapedCut = Decode(encoder.Encode("\xe9\xe9\xe9"
                                            "a a"),
                             2);
    EXPECT_EQ(2, escapedCut.first);
    EXPECT_EQ("\xe9", escapedCut.second);

    // A stream that runs out reads zeros, which here walk "The a ba ba..."
    // until the output is full.
    Bytes header = encoder.Encode("", 1, false);
    auto runOut = Decode(header, 12);
    EXPECT_EQ(12, runOut.first);
    EXPECT_EQ("The ababab", runOut.second.substr(0, 10));
}

TEST(FendrakeDVBHuffmanTest, RefusesBadHeadersAndMissingTables) {
    Encoder encoder;
    int size = 16;
    unsigned char out[16];
    EXPECT_EQ(0, Decode({0x1F, 0x03, 0x00}, 16).first);
    EXPECT_EQ(0, Decode({0x20, 0x01}, 16).first);
    EXPECT_EQ(0, Decode(encoder.Encode("a", 2), 16).first); // no second table here
    EXPECT_EQ(1, Decode({0x00}, 16).first);                 // an empty text
    const Bytes text = encoder.Encode("a");
    size = 0;
    EXPECT_EQ(0, dvb_huffman_decode_with(kTables, text.data(), out, size, text.size()));
    // The built-in tables are empty until the broadcast ones are supplied.
    size = 16;
    EXPECT_EQ(0, dvb_huffman_decode(text.data(), out, size, text.size()));
}

TEST(FendrakeDVBHuffmanTest, SuppliedTablesDecodeBroadcastText) {
    Encoder encoder;
    Bytes text = encoder.Encode("The \xc3\xa9"
                                "a \xc3\xa9");
    std::string out;
    // The built-in tables are empty: the bytes after the marker are read as text.
    AssignFromDVBString(out, text.data(), static_cast<int>(text.size()), false, "ISO-8859-1");
    EXPECT_EQ(std::string("\x01"), out.substr(0, 1));

    dvb_huffman_set_tables(kTables);
    AssignFromDVBString(out, text.data(), static_cast<int>(text.size()), false, "ISO-8859-1");
    EXPECT_EQ("The \xc3\xa9"
              "a \xc3\xa9",
              out);
    text.insert(text.begin(), 0x15); // a stray selector before the marker
    AssignFromDVBString(out, text.data(), static_cast<int>(text.size()), false, "ISO-8859-1");
    EXPECT_EQ("The \xc3\xa9"
              "a \xc3\xa9",
              out);
    dvb_huffman_set_tables(nullptr);
}

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

// Encodes with the code list the table was built from; characters without a
// code go out escaped. Without iEnd the stream just stops. oEndLeaf tells
// whether a code for 0 ended the text, which is stored as well.
Bytes Encode(const std::string& iText, int iTable = 1, bool iEnd = true, bool* oEndLeaf = nullptr) {
    std::map<std::pair<int, int>, std::string> codes;
    for (const DvbHuffmanCode& code : sHuffmanTestTableCodes)
        codes[{code.mPrevious, code.mCharacter}] = code.mBits;
    std::string bits;
    auto raw = [&bits](unsigned int iByte) {
        for (int bit = 7; bit >= 0; --bit)
            bits += (iByte >> bit) & 1 ? '1' : '0';
    };
    raw(0x1F);
    raw(iTable);
    int previous = 0;
    bool escaped = false;
    for (unsigned char c : iText) {
        if (!escaped && codes.count({previous, c})) {
            bits += codes[{previous, c}];
            previous = c;
            continue;
        }
        if (!escaped)
            bits += codes.at({previous, 27});
        raw(c);
        escaped = c >= 0x80;
        previous = escaped ? previous : c;
    }
    // Where no code ends the text, the missing 0 branch does.
    const bool endLeaf = iEnd && !escaped && codes.count({previous, 0});
    if (iEnd && escaped)
        raw(0);
    else if (iEnd)
        bits += endLeaf ? codes[{previous, 0}] : "0";
    if (oEndLeaf)
        *oEndLeaf = endLeaf;
    Bytes out((bits.size() + 7) / 8, 0);
    for (size_t i = 0; i < bits.size(); ++i)
        out[i / 8] |= (bits[i] == '1') << (7 - i % 8);
    return out;
}

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
    // Octal where a hex escape would swallow the 'a' behind it.
    static const char* const kTexts[] = {
        "The bat", "a bab", "", "b a T", "xy", "The \351a\351 a", "\xc3\xa9\xc3\xa8!", "az"};
    for (const char* text : kTexts) {
        SCOPED_TRACE(text);
        bool endLeaf;
        const Bytes stream = Encode(text, 1, true, &endLeaf);
        const auto decoded = Decode(stream, 64);
        EXPECT_EQ(text, decoded.second);
        EXPECT_EQ(static_cast<int>(strlen(text)) + 1 + endLeaf, decoded.first);
    }
}

TEST(FendrakeDVBHuffmanTest, EndsAtMissingBranchesFullOutputAndRunOutStreams) {
    // After 'x' a 0 bit has no branch: the text ends there.
    EXPECT_EQ("ax", Decode(Encode("ax", 1, false), 64).second);
    // A full output keeps the NUL inside it.
    EXPECT_EQ(std::make_pair(4, std::string("The")), Decode(Encode("The bat"), 4));
    EXPECT_EQ(std::make_pair(2, std::string("\xe9")), Decode(Encode("\xe9\xe9\xe9z"), 2));
    // A stream that runs out reads zeros, which here walk "The a ba ba..."
    // until the output is full.
    const auto runOut = Decode(Encode("", 1, false), 12);
    EXPECT_EQ(12, runOut.first);
    EXPECT_EQ("The ababab", runOut.second.substr(0, 10));
}

TEST(FendrakeDVBHuffmanTest, RefusesBadHeadersAndMissingTables) {
    EXPECT_EQ(0, Decode({0x1F, 0x03, 0x00}, 16).first);
    EXPECT_EQ(0, Decode({0x20, 0x01}, 16).first);
    EXPECT_EQ(0, Decode(Encode("a", 2), 16).first); // no second table here
    EXPECT_EQ(1, Decode({0x00}, 16).first);         // an empty text
    const Bytes text = Encode("a");
    unsigned char out[16];
    int size = 0;
    EXPECT_EQ(0, dvb_huffman_decode_with(kTables, text.data(), out, size, text.size()));
    // The built-in tables are empty until the broadcast ones are supplied.
    size = 16;
    EXPECT_EQ(0, dvb_huffman_decode(text.data(), out, size, text.size()));
}

TEST(FendrakeDVBHuffmanTest, SuppliedTablesDecodeBroadcastText) {
    const std::string kText = "The \xc3\xa9\x61 \xc3\xa9";
    Bytes stream = Encode(kText);
    dvb_huffman_set_tables(kTables);
    std::string out;
    AssignFromDVBString(out, stream.data(), static_cast<int>(stream.size()), false, nullptr);
    EXPECT_EQ(kText, out);
    stream.insert(stream.begin(), 0x15); // a stray selector before the marker
    AssignFromDVBString(out, stream.data(), static_cast<int>(stream.size()), false, nullptr);
    EXPECT_EQ(kText, out);
    dvb_huffman_set_tables(nullptr);
}

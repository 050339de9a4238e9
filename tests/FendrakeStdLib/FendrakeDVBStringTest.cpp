#include "Basic/FendrakeStdLib/FendrakeDVBString.h"

#include "Capture.h"
#include "ConvertHelpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {
typedef std::vector<unsigned char> Bytes;

std::string Decode(const Bytes& iData, bool iRemoveControl = false,
                   const char* iDefaultTable = nullptr) {
    std::string text = "old";
    const int appended = AssignFromDVBString(text, iData.data(), static_cast<int>(iData.size()),
                                             iRemoveControl, iDefaultTable);
    EXPECT_EQ(text.size(), static_cast<size_t>(appended));
    return text;
}

std::string NoTable(const char* iName) {
    return std::string("Error: could not find conversion table for ") + iName + " -> UTF-8\n";
}

struct Row {
    int mLine;
    Bytes mData;
    std::string mText;
    std::string mMessage = ""; // a log text that must appear, or empty for none
    const char* mDefaultTable = nullptr;
};

void CheckRows(const std::vector<Row>& iRows, bool iRemoveControl) {
    for (const Row& row : iRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        EXPECT_EQ(row.mText, Decode(row.mData, iRemoveControl, row.mDefaultTable));
        if (!row.mMessage.empty())
            EXPECT_THAT(CapturedTexts(), testing::Contains(row.mMessage));
        else
            EXPECT_EQ("", CapturedOutput());
    }
}
} // namespace

TEST(FendrakeDVBStringTest, FirstByteSelectsTheTable) {
    const std::string kReserved = " reserved for future use. Using ISO-6937.\n";
    CheckRows(
        {
            {__LINE__, {}, ""},
            {__LINE__, {0x05}, ""},
            {__LINE__, {0x01, 0xB0}, "\xd0\x90"},
            {__LINE__, {0x02, 0xC7}, "\xd8\xa7"},
            {__LINE__, {0x03, 0xE1}, "\xce\xb1"},
            {__LINE__, {0x04, 0xE0}, "\xd7\x90"},
            {__LINE__, {0x05, 0xF0}, "\xc4\x9f"},
            {__LINE__, {0x06, 0xA1}, "\xc4\x84"},
            {__LINE__, {0x07, 0xA1}, "\xe0\xb8\x81"},
            {__LINE__, {0x09, 0xA1}, "\xe2\x80\x9d"},
            {__LINE__, {0x0A, 0xA1}, "\xe1\xb8\x82"},
            {__LINE__, {0x0B, 0xA4}, "\xe2\x82\xac"},
            {__LINE__, {0x10, 0x00, 0x02, 0xA1}, "\xc4\x84"},
            {__LINE__, {0x10, 0x00, 0x0C, 0xA1}, "\xc2\xa1", NoTable("ISO-8859-12")},
            {__LINE__, {0x10, 0x00}, "", NoTable("ISO-8859-0")},
            {__LINE__, {0x11, 0x04, 0x10, 0x00, 0x5A}, "\xd0\x90Z"},
            {__LINE__, {0x12, 0x30, 0x21}, "0!", NoTable("KSC_5601")}, // kept: never opens
            {__LINE__, {0x13, 0x30, 0x21}, "\xe5\x95\x8a"},
            {__LINE__, {0x14, 0x00, 0x41}, "A"}, // kept: UCS2, not Big5
            {__LINE__, {0x15, 'a', 0xC3, 0xA9}, "a\xc3\xa9"},
            {__LINE__, {0x16, 'a'}, "a", "Ignoring character table 22" + kReserved},
            {__LINE__, {0x1E, 0xC2, 'o'}, "\xc3\xb3", "Ignoring character table 30" + kReserved},
            // Compressed text whose table is bad or missing is read as plain text.
            {__LINE__, {0x1F, 0x07, 'z'}, "\x07z"},
            {__LINE__, {0x1F, 0x01, 'z'}, "\x01z"},
            {__LINE__, {0x1F}, ""},
            // A stray selector in front of the Huffman marker is skipped.
            {__LINE__, {0x15, 0x1F, 0x03, 'z'}, "\x03z"},
            {__LINE__, {0x00, 'z'}, "z"},
            {__LINE__, {0x08, 'z'}, "\x08z"},
            {__LINE__, {0x0C, 'z'}, "\x0cz"},
            {__LINE__, {0x0F, 'z'}, "\x0fz"},
            // The default table, ISO 6937 unless told.
            {__LINE__, {'A', 0xC2, 'o'}, "A\xc3\xb3"},
            {__LINE__, {0xC4, 'a'}, "\xc3\xa2"}, // kept: a with tilde gives a circumflex
            {__LINE__, {'o', 0xC2}, "o"},        // an accent at the end yields nothing
            {__LINE__, {0xE9}, "\xc3\xa9", "", "ISO-8859-1"},
            {__LINE__, {0xE9}, "\xd1\x89", "", "ISO-8859-5"},
            {__LINE__, {0xE9}, "\xc3\xa9", NoTable("NO-SUCH-TABLE"), "NO-SUCH-TABLE"},
        },
        false);
}

TEST(FendrakeDVBStringTest, FiltersTreatControlCodes) {
    CheckRows(
        {
            {__LINE__, {'a', 0x86, 0x87, 0x8A, 0x9F, 0x80, 'b', 0x00, 0x1F}, "a\nb\x1f"},
            {__LINE__, {0x11, 0xE0, 0x8A, 0x00, 0x00, 0x00, 0x09, 0x00, 0x5A}, "\tZ"},
            {__LINE__, {0x11, 0x00, 0x5A, 0x42}, "Z\xe4\x88\x80"}, // odd byte pairs with 0
            {__LINE__, {0x15, 0xC2, 0x8A, 'x'}, "\n\xc2\x8ax"},
            {__LINE__, {0x15, 0xC2, 0xB0}, "\xc2\xb0"},
            {__LINE__, {0x15, 'z', 0xC2}, "z\x02"}, // a last 0xC2 stays, cut short
            {__LINE__, {0x15, 0x00, 0x09, 'z'}, "\tz"},
            {__LINE__, {0x15, 0xE2, 0x82, 'Z'}, "\xc2\x82\xc2\x82Z"},
        },
        false);
    CheckRows(
        {
            {__LINE__, {'a', 0x86, 0x8A, 0x09, 'b', 0x1F}, "a\nb"},
            {__LINE__, {0x11, 0x00, 0x09, 0x00, 0x1F, 0x00, 0x20}, " "},
            {__LINE__, {0x15, 0x09, 0xC2, 0x8A, 0x0A}, "\n\xc2\x8a"},
            {__LINE__, {0x08, 'a'}, "a"},
        },
        true);
}

TEST(FendrakeDVBStringTest, AssignReplacesAndAppendAppends) {
    const unsigned char text[] = {0x15, 'a', 'b'};
    std::string out = "x";
    EXPECT_EQ(2, AppendFromDVBString(out, text, 3, false, nullptr));
    EXPECT_EQ(2, AppendFromDVBString(out, text, 3, false, nullptr));
    EXPECT_EQ("xabab", out);
    EXPECT_EQ(2, AssignFromDVBString(out, text, 3, false, nullptr));
    EXPECT_EQ("ab", out);
    EXPECT_EQ(0, AssignFromDVBString(out, text, -3, false, nullptr));
    EXPECT_EQ("", out);
    EXPECT_EQ(0, AppendFromDVBString(out, nullptr, 3, false, nullptr));
}

// Long texts take their scratch room from the heap; the random texts below
// cross that bound too, with every filter.
TEST(FendrakeDVBStringTest, LongTextsLeaveTheStackForTheHeap) {
    for (size_t length : {255u, 256u, 257u, 5000u}) {
        SCOPED_TRACE(testing::Message() << "length " << length);
        Bytes latin = {0x01};
        for (size_t i = 0; i < length; ++i)
            latin.push_back(static_cast<unsigned char>(0xA0 + i % 96));
        EXPECT_EQ(Glibc("ISO-8859-5", std::string(latin.begin() + 1, latin.end())), Decode(latin));
    }
}

namespace {
// The one- and two-byte filters as their rules read, then the converter.
std::string FilterThenConvert(const std::string& iText, bool iRemoveControl, bool iTwoByte,
                              const char* iTable) {
    std::string filtered;
    for (size_t i = 0; i < iText.size(); i += iTwoByte ? 2 : 1) {
        const unsigned char byte = iText[i];
        if (iTwoByte) {
            const unsigned char low = i + 1 < iText.size() ? iText[i + 1] : 0;
            const unsigned int value = byte << 8 | low;
            if (value && !(value >= 0xE080 && value <= 0xE09F) && !(iRemoveControl && value <= 31))
                filtered += {static_cast<char>(byte), static_cast<char>(low)};
        } else if (byte == 0x8A) {
            filtered += '\n';
        } else if (byte && (byte < 0x80 || byte > 0x9F) && !(iRemoveControl && byte <= 31)) {
            filtered += static_cast<char>(byte);
        }
    }
    return Ours(iTable, filtered, 0, "");
}
} // namespace

// The UTF-8 filter, with its 0xC2 rules, is left to the rows above and the fuzzer.
TEST(FendrakeDVBStringTest, EveryTableGivesWhatFilteringThenConvertingGives) {
    const std::pair<Bytes, const char*> kSelectors[] = {
        {{0x01}, "ISO-8859-5"},
        {{0x03}, "ISO-8859-7"},
        {{0x07}, "ISO-8859-11"},
        {{0x0B}, "ISO-8859-15"},
        {{0x10, 0x00, 0x01}, "ISO-8859-1"},
        {{}, "ISO-6937"},
        {{0x11}, "UCS2"},
    };
    std::mt19937 random(5);
    CaptureScope scope;
    for (const auto& selector : kSelectors) {
        for (int round = 0; round < 60; ++round) {
            std::string text = MixedBytes(random, 1 + random() % 300);
            // Text, not a selector or a Huffman marker behind one.
            if (static_cast<unsigned char>(text[0]) < 0x20)
                text[0] = 'a';
            const bool removeControl = round % 2;
            Bytes data = selector.first;
            data.insert(data.end(), text.begin(), text.end());
            SCOPED_TRACE(testing::Message() << selector.second << " round " << round);
            ASSERT_EQ(FilterThenConvert(text, removeControl, std::string(selector.second) == "UCS2",
                                        selector.second),
                      Decode(data, removeControl));
        }
    }
}

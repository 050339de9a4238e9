// AssignFromDVBString on any bytes, with each default table, with and without
// control removal, and with the built-in or the test Huffman tables; then the
// same bytes through appendConvert, which converts in rounds, and through
// fendrake_iconv in one call and in rounds too small for its fast paths,
// which must agree.
#include "Basic/FendrakeStdLib/FendrakeDVBString.h"
#include "Basic/FendrakeStdLib/FendrakeIconv.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "FuzzSupport.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {
struct DvbHuffmanCode {
    int mPrevious;
    const char* mBits;
    int mCharacter;
};
#include "FendrakeStdLib/data/HuffmanTestTable.inc"

const DvbHuffmanTable kTestTables[2] = {{sHuffmanTestTable, sizeof sHuffmanTestTable},
                                        {sHuffmanTestTable, sizeof sHuffmanTestTable}};
// The text converted in rounds of iRoom bytes of output.
std::string Convert(const char* iTable, const std::vector<unsigned char>& iText,
                    unsigned int iRoom) {
    void* converter = fendrake_iconv_open("UTF-8", iTable);
    std::string out;
    std::vector<char> room(iRoom);
    const char* in = reinterpret_cast<const char*>(iText.data());
    unsigned int inLeft = static_cast<unsigned int>(iText.size());
    do {
        char* at = room.data();
        unsigned int left = iRoom;
        out.append(room.data(), fendrake_iconv(converter, &in, &inLeft, &at, &left));
    } while (fendrake_iconv_get_stop_reson(converter) == 1);
    fendrake_iconv_close(converter);
    return out;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
    if (iSize < 1)
        return 0;
    int tables = 0;
    while (fendrake_iconv_table[tables].name)
        ++tables;
    // First byte: the default table (one more for null), control removal, Huffman tables.
    const unsigned int choice = iData[0];
    const int tableIndex = static_cast<int>(choice & 0x1F) % (tables + 1);
    const char* defaultTable =
        tableIndex < tables ? fendrake_iconv_table[tableIndex].name : nullptr;
    dvb_huffman_set_tables(choice & 0x40 ? kTestTables : nullptr);
    // An exact copy, so that reading one byte too far is caught.
    std::vector<unsigned char> text(iData + 1, iData + iSize);
    std::string out = "previous";
    const int appended = AssignFromDVBString(out, text.data(), static_cast<int>(text.size()),
                                             choice & 0x20, defaultTable);
    if (appended < 0 || static_cast<size_t>(appended) != out.size())
        abort();

    std::string converted;
    FendrakeStringWrapInterface wrap(converted);
    if (!wrap.appendConvert(reinterpret_cast<const char*>(text.data()),
                            static_cast<unsigned int>(text.size()),
                            defaultTable ? defaultTable : "ISO-6937"))
        abort();
    if (defaultTable && strcmp(defaultTable, "ISO-6937") != 0) {
        std::string whole = Convert(defaultTable, text, 6 * text.size() + 8);
        if (whole != Convert(defaultTable, text, 7))
            abort();
    }
    return 0;
}

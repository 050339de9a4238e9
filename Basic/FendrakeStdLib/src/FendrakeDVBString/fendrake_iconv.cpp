#include "Basic/FendrakeStdLib/FendrakeIconv.h"

#include "FendrakeIconvSetup.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "../FendrakeUtf8Forms.h"

#include <cstring>
#include <new>

namespace {

struct DoubleByteSegment {
    uint8_t mFirst;
    uint8_t mLast;
    uint16_t mIndex;
};

struct Iso6937Composition {
    uint16_t mMark;
    uint8_t mBase;
    uint16_t mResult;
};

// clang-format off
#include "tables/Iso8859Tables.inc"
#include "tables/Iso6937Table.inc"
#include "tables/Iso6937Compositions.inc"
#include "tables/Ksc5601Table.inc"
#include "tables/Gb2312Table.inc"
#include "tables/Big5Table.inc"
// clang-format on

void* const kNoHandle = reinterpret_cast<void*>(-1);
const uint32_t kNoCharacter = 0xFFFD;

typedef FendrakeIconvHandle Handle;

uint32_t DecodeAscii(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    *oCodePoint = iIn[0] > 127 ? '?' : iIn[0];
    return 1;
}

uint32_t DecodeIso8859_1(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    *oCodePoint = iIn[0];
    return 1;
}

// The upper half of a part from its table; the table starts at 0xA0.
template <const uint16_t* Table>
uint32_t DecodeIso8859(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    *oCodePoint = iIn[0] <= 159 ? iIn[0] : Table[iIn[0] - 0xA0];
    return 1;
}

// Thai follows the Unicode block at a fixed distance, with holes.
uint32_t DecodeIso8859_11(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    const uint8_t byte = iIn[0];
    if (byte <= 160)
        *oCodePoint = byte;
    else if ((byte >= 0xDB && byte <= 0xDE) || byte >= 0xFC)
        *oCodePoint = '?';
    else
        *oCodePoint = byte + 3424u;
    return 1;
}

uint32_t DecodeIso8859_15(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    const uint8_t byte = iIn[0];
    *oCodePoint = byte >= 0xA0 && byte <= 0xBF ? sIso8859_15[byte - 0xA0] : byte;
    return 1;
}

uint32_t DecodeIso6937(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t) {
    *oCodePoint = iIn[0] <= 159 ? iIn[0] : sIso6937[iIn[0] - 0xA0];
    return 1;
}

uint32_t DecodeUcs2(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    if (iInLeft < 2)
        return 0;
    *oCodePoint = iIn[0] << 8 | iIn[1];
    return 2;
}

template <bool BigEndian>
uint32_t DecodeUtf16Order(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    auto unitAt = [iIn](uint32_t iAt) -> uint32_t {
        return BigEndian ? (iIn[iAt] << 8 | iIn[iAt + 1]) : (iIn[iAt + 1] << 8 | iIn[iAt]);
    };
    if (iInLeft < 2)
        return 0;
    const uint32_t first = unitAt(0);
    if (first < 0xD800 || first > 0xDBFF) {
        *oCodePoint = first;
        return 2;
    }
    if (iInLeft < 4)
        return 0;
    const uint32_t second = unitAt(2);
    if (second < 0xDC00 || second > 0xDFFF) {
        *oCodePoint = first;
        return 2;
    }
    *oCodePoint = 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    return 4;
}

uint32_t DecodeUtf16(Handle* ioHandle, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    uint32_t skipped = 0;
    for (;;) {
        FendrakeIconvDecode decode =
            ioHandle->utf16Decode ? ioHandle->utf16Decode : DecodeUtf16Order<true>;
        const uint32_t used = decode(ioHandle, oCodePoint, iIn + skipped, iInLeft - skipped);
        if (used == 0)
            return 0;
        if (used != 2 || (*oCodePoint != 0xFEFF && *oCodePoint != 0xFFFE))
            return skipped + used;
        if (*oCodePoint == 0xFFFE)
            ioHandle->utf16Decode =
                decode == DecodeUtf16Order<true> ? DecodeUtf16Order<false> : DecodeUtf16Order<true>;
        skipped += 2;
    }
}

// A lead that does not fit, or a broken continuation, gives what was gathered
// and consumes one byte, so the following bytes are read again as characters.
uint32_t DecodeUtf8(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    const uint32_t length = FendrakeUtf8SequenceLength(iIn[0]);
    if (length <= 1) {
        *oCodePoint = iIn[0];
        return 1;
    }
    if (length > iInLeft) {
        *oCodePoint = iIn[0] & (0x7Fu >> length);
        return 1;
    }
    return FendrakeUtf8Gather(iIn, length, *oCodePoint) == length ? length : 1;
}

// Two plain (7-bit) bytes through a table stored as rows of first bytes.
uint32_t DecodeDoubleByte(const DoubleByteSegment* iSegments, unsigned int iSegmentCount,
                          const uint16_t* iCodes, unsigned int iRowLength, uint32_t iSecond,
                          uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    if (iInLeft < 2)
        return 0;
    for (unsigned int i = 0; i < iSegmentCount; ++i) {
        const DoubleByteSegment& segment = iSegments[i];
        if (iIn[0] < segment.mFirst || iIn[0] > segment.mLast)
            continue;
        const uint32_t code =
            iCodes[segment.mIndex + (iIn[0] - segment.mFirst) * iRowLength + iSecond];
        if (code == kNoCharacter)
            return 0;
        *oCodePoint = code;
        return 2;
    }
    return 0;
}

template <size_t N> constexpr unsigned int CountOf(const DoubleByteSegment (&)[N]) {
    return N;
}

uint32_t DecodeKsc5601(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    if (iInLeft < 2 || iIn[1] < 0x21 || iIn[1] > 0x7E)
        return 0;
    return DecodeDoubleByte(sKsc5601Segments, CountOf(sKsc5601Segments), sKsc5601Codes, 94,
                            iIn[1] - 0x21u, oCodePoint, iIn, iInLeft);
}

uint32_t DecodeGb2312(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    if (iInLeft < 2 || iIn[1] < 0x21 || iIn[1] > 0x7E)
        return 0;
    return DecodeDoubleByte(sGb2312Segments, CountOf(sGb2312Segments), sGb2312Codes, 94,
                            iIn[1] - 0x21u, oCodePoint, iIn, iInLeft);
}

uint32_t DecodeBig5(Handle*, uint32_t* oCodePoint, const uint8_t* iIn, uint32_t iInLeft) {
    if (iInLeft < 2)
        return 0;
    const uint8_t second = iIn[1];
    uint32_t column;
    if (second >= 0x40 && second <= 0x7E)
        column = second - 0x40u;
    else if (second >= 0xA1 && second <= 0xFE)
        column = second - 0xA1u + 63;
    else
        return 0;
    return DecodeDoubleByte(sBig5Segments, CountOf(sBig5Segments), sBig5Codes, 157, column,
                            oCodePoint, iIn, iInLeft);
}

uint32_t EncodeAscii(Handle* ioHandle, uint32_t iCodePoint, uint8_t* oOut, uint32_t iOutLeft) {
    if (iCodePoint > 127)
        return 0;
    if (iOutLeft < 1) {
        ioHandle->stopReason = FENDRAKE_ICONV_STOP_OUTPUT_FULL;
        return 0;
    }
    oOut[0] = static_cast<uint8_t>(iCodePoint);
    return 1;
}

uint32_t EncodeUtf8(Handle* ioHandle, uint32_t iCodePoint, uint8_t* oOut, uint32_t iOutLeft) {
    if (iCodePoint < 0x80 && iOutLeft) {
        oOut[0] = static_cast<uint8_t>(iCodePoint);
        return 1;
    }
    if (iCodePoint > 0x7FFFFFFF)
        return 0;
    const uint32_t length = FendrakeUtf8ShortestLength(iCodePoint);
    if (length > iOutLeft) {
        ioHandle->stopReason = FENDRAKE_ICONV_STOP_OUTPUT_FULL;
        return 0;
    }
    return fendrake_encode_to_utf8_encode_to_length(iCodePoint, oOut, length);
}

// Fast paths into UTF-8 for the common tables. Each converts as long as
// the output has room for the longest step, and leaves the rest (a full
// output, a mark, a byte it does not know) to the character loop; the result
// is the same as that loop's.
struct Span {
    const uint8_t* mIn;
    const uint8_t* mInEnd;
    uint8_t* mOut;
    uint8_t* mOutEnd;

    bool Room() const { return mIn < mInEnd && mOutEnd - mOut >= 8; }

    // The ASCII bytes from here, up to eight at a time; false if there are none.
    bool CopyAscii() {
        if (*mIn & 0x80)
            return false;
        if (mInEnd - mIn < 8) {
            *mOut++ = *mIn++;
            return true;
        }
        uint64_t word;
        memcpy(&word, mIn, 8);
        // All eight are stored; only the ASCII ones are kept.
        memcpy(mOut, &word, 8);
        const size_t count = AsciiPrefix(word);
        mIn += count;
        mOut += count;
        return true;
    }

    // How many bytes in memory order are below 0x80.
    static size_t AsciiPrefix(uint64_t iWord) {
        const uint64_t high = iWord & 0x8080808080808080ull;
        if (!high)
            return 8;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        return static_cast<size_t>(__builtin_clzll(high)) / 8;
#else
        return static_cast<size_t>(__builtin_ctzll(high)) / 8;
#endif
    }

    // Up to U+FFFF.
    void Put(uint32_t iCodePoint) {
        mOut = FendrakeUtf8PutBmp(iCodePoint, mOut);
    }
};

template <size_t N> struct HighHalfTable { uint16_t mCode[N]; };

constexpr HighHalfTable<96> MakeIso8859_1() {
    HighHalfTable<96> table{};
    for (int i = 0; i < 96; ++i)
        table.mCode[i] = static_cast<uint16_t>(0xA0 + i);
    return table;
}
constexpr HighHalfTable<96> kIso8859_1 = MakeIso8859_1();

constexpr HighHalfTable<96> MakeIso8859_11() {
    HighHalfTable<96> table{};
    for (int byte = 0xA0; byte < 0x100; ++byte) {
        const bool hole = (byte >= 0xDB && byte <= 0xDE) || byte >= 0xFC;
        table.mCode[byte - 0xA0] = static_cast<uint16_t>(byte == 0xA0 ? byte
                                                         : hole       ? '?'
                                                                      : byte + 3424);
    }
    return table;
}
constexpr HighHalfTable<96> kIso8859_11 = MakeIso8859_11();

const uint16_t* Composition(uint32_t iMark, uint32_t iBase);

bool IsMark(uint32_t iCodePoint) {
    return iCodePoint >= 0x300 && iCodePoint <= 0x36F;
}

// Single-byte tables: the bytes up to 0x9F stand for themselves. With
// iComposing (ISO 6937) a mark and a plain base that have a composed
// character are done here; other marks go to the character loop.
void ConvertByTable(const uint16_t* iHighHalf, bool iComposing, Span& ioSpan) {
    while (ioSpan.Room()) {
        if (ioSpan.CopyAscii())
            continue;
        const uint8_t byte = *ioSpan.mIn;
        uint32_t codePoint = byte < 0xA0 ? byte : iHighHalf[byte - 0xA0];
        if (iComposing && IsMark(codePoint)) {
            if (ioSpan.mInEnd - ioSpan.mIn < 2)
                return;
            const uint8_t base = ioSpan.mIn[1];
            const uint16_t* composed =
                base < 0xA0 || !IsMark(iHighHalf[base - 0xA0])
                    ? Composition(codePoint, base < 0xA0 ? base : iHighHalf[base - 0xA0])
                    : nullptr;
            if (!composed)
                return;
            codePoint = *composed;
            ++ioSpan.mIn;
        }
        ioSpan.Put(codePoint);
        ++ioSpan.mIn;
    }
}

void ConvertUcs2(Span& ioSpan) {
    while (ioSpan.Room() && ioSpan.mInEnd - ioSpan.mIn >= 2) {
        ioSpan.Put(static_cast<uint32_t>(ioSpan.mIn[0] << 8 | ioSpan.mIn[1]));
        ioSpan.mIn += 2;
    }
}

void ConvertUtf8(Span& ioSpan) {
    while (ioSpan.Room() && ioSpan.CopyAscii()) {
    }
}

struct FastPath {
    FendrakeIconvDecode mDecoder;
    const uint16_t* mHighHalf;
};

const FastPath kFastPaths[] = {
    {DecodeIso8859_1, kIso8859_1.mCode},       {DecodeIso8859<sIso8859_2>, sIso8859_2},
    {DecodeIso8859<sIso8859_3>, sIso8859_3},   {DecodeIso8859<sIso8859_4>, sIso8859_4},
    {DecodeIso8859<sIso8859_5>, sIso8859_5},   {DecodeIso8859<sIso8859_6>, sIso8859_6},
    {DecodeIso8859<sIso8859_7>, sIso8859_7},   {DecodeIso8859<sIso8859_8>, sIso8859_8},
    {DecodeIso8859<sIso8859_9>, sIso8859_9},   {DecodeIso8859<sIso8859_10>, sIso8859_10},
    {DecodeIso8859_11, kIso8859_11.mCode},     {DecodeIso8859<sIso8859_13>, sIso8859_13},
    {DecodeIso8859<sIso8859_14>, sIso8859_14}, {DecodeIso8859_15, sIso8859_15},
    {DecodeIso8859<sIso8859_16>, sIso8859_16}, {DecodeIso6937, sIso6937},
};

// Runs the fast path of the handle's conversion, if it has one.
void ConvertFast(const Handle& iHandle, Span& ioSpan) {
    if (iHandle.encode != EncodeUtf8)
        return;
    if (iHandle.decode == DecodeUtf8) {
        ConvertUtf8(ioSpan);
        return;
    }
    if (iHandle.decode == DecodeUcs2) {
        ConvertUcs2(ioSpan);
        return;
    }
    for (const FastPath& path : kFastPaths) {
        if (path.mDecoder == iHandle.decode) {
            ConvertByTable(path.mHighHalf, iHandle.decode == DecodeIso6937, ioSpan);
            return;
        }
    }
}

// Where the rows of each mark begin in the sorted composition table.
struct MarkIndex {
    uint8_t mFirst[0x71];
};

constexpr MarkIndex MakeMarkIndex() {
    MarkIndex index{};
    const size_t rows = sizeof sIso6937Compositions / sizeof sIso6937Compositions[0];
    size_t row = 0;
    for (unsigned int mark = 0; mark <= 0x70; ++mark) {
        while (row < rows && sIso6937Compositions[row].mMark < 0x300 + mark)
            ++row;
        index.mFirst[mark] = static_cast<uint8_t>(row);
    }
    return index;
}
constexpr MarkIndex kMarkIndex = MakeMarkIndex();
static_assert(sizeof sIso6937Compositions / sizeof sIso6937Compositions[0] < 256,
              "the mark index holds row numbers in bytes");

const uint16_t* Composition(uint32_t iMark, uint32_t iBase) {
    if (iMark < 0x300 || iMark > 0x36F || iBase > 0xFF)
        return nullptr;
    size_t low = kMarkIndex.mFirst[iMark - 0x300];
    size_t high = kMarkIndex.mFirst[iMark - 0x300 + 1];
    while (low < high) {
        const size_t middle = (low + high) / 2;
        const Iso6937Composition& row = sIso6937Compositions[middle];
        if (row.mBase == iBase)
            return &row.mResult;
        if (row.mBase < iBase)
            low = middle + 1;
        else
            high = middle;
    }
    return nullptr;
}

const unsigned int kMaxMarks = 16;

// Writes a base with the marks that came before it in ISO 6937 order, after
// it in Unicode's, composed where the pair has one character. All or nothing,
// so that a full output can give the whole group back to the input.
struct CompositionGroup {
    uint32_t mMarks[kMaxMarks];
    unsigned int mMarkCount = 0;
    uint8_t mBytes[(kMaxMarks + 1) * 6];
    uint32_t mLength = 0;
    uint32_t mCharacterEnds[kMaxMarks + 1];
    unsigned int mCharacterCount = 0;

    void Add(Handle* ioHandle, uint32_t iCodePoint) {
        const uint32_t written =
            ioHandle->encode(ioHandle, iCodePoint, mBytes + mLength, sizeof mBytes - mLength);
        mLength += written;
        mCharacterEnds[mCharacterCount++] = mLength;
    }

    void Build(Handle* ioHandle, uint32_t iBase) {
        mLength = 0;
        mCharacterCount = 0;
        if (mMarkCount == 1) {
            const uint16_t* composed = Composition(mMarks[0], iBase);
            if (composed) {
                Add(ioHandle, *composed);
                return;
            }
            FENDRAKE_LOG(1, "No mapping for 0x%02x + 0x%02x(%c)\n", mMarks[0], iBase,
                         static_cast<int>(iBase));
        }
        Add(ioHandle, iBase);
        for (unsigned int i = 0; i < mMarkCount; ++i)
            Add(ioHandle, mMarks[i]);
    }

    // The bytes of the whole characters that fit into iRoom.
    uint32_t FittingLength(uint32_t iRoom) const {
        uint32_t length = 0;
        for (unsigned int i = 0; i < mCharacterCount && mCharacterEnds[i] <= iRoom; ++i)
            length = mCharacterEnds[i];
        return length;
    }
};

} // namespace

extern "C" {

const FendrakeIconvTableEntry fendrake_iconv_table[] = {
    {"ASCII", DecodeAscii, EncodeAscii},
    {"UTF-8", DecodeUtf8, EncodeUtf8},
    {"ISO-6937", DecodeIso6937, nullptr},
    {"ISO-8859-1", DecodeIso8859_1, nullptr},
    {"ISO-8859-2", DecodeIso8859<sIso8859_2>, nullptr},
    {"ISO-8859-3", DecodeIso8859<sIso8859_3>, nullptr},
    {"ISO-8859-4", DecodeIso8859<sIso8859_4>, nullptr},
    {"ISO-8859-5", DecodeIso8859<sIso8859_5>, nullptr},
    {"ISO-8859-6", DecodeIso8859<sIso8859_6>, nullptr},
    {"ISO-8859-7", DecodeIso8859<sIso8859_7>, nullptr},
    {"ISO-8859-8", DecodeIso8859<sIso8859_8>, nullptr},
    {"ISO-8859-9", DecodeIso8859<sIso8859_9>, nullptr},
    {"ISO-8859-10", DecodeIso8859<sIso8859_10>, nullptr},
    {"ISO-8859-11", DecodeIso8859_11, nullptr},
    {"ISO-8859-13", DecodeIso8859<sIso8859_13>, nullptr},
    {"ISO-8859-14", DecodeIso8859<sIso8859_14>, nullptr},
    {"ISO-8859-15", DecodeIso8859_15, nullptr},
    {"ISO-8859-16", DecodeIso8859<sIso8859_16>, nullptr},
    {"UCS2", DecodeUcs2, nullptr},
    {"UTF-16LE", DecodeUtf16Order<false>, nullptr},
    {"UTF-16BE", DecodeUtf16Order<true>, nullptr},
    {"UTF-16", DecodeUtf16, nullptr},
    {"KSC5601", DecodeKsc5601, nullptr},
    {"GB2312", DecodeGb2312, nullptr},
    {"BIG5", DecodeBig5, nullptr},
    {nullptr, nullptr, nullptr},
};

void* fendrake_iconv_open(const char* tocode, const char* fromcode) {
    Handle setup;
    if (!FendrakeIconvSetup(setup, tocode, fromcode))
        return kNoHandle;
    Handle* handle = new (std::nothrow) Handle(setup);
    return handle ? handle : kNoHandle;
}

unsigned int fendrake_iconv(void* cd, const char** inbuf, unsigned int* inbytesleft, char** outbuf,
                            unsigned int* outbytesleft) {
    if (!cd || cd == kNoHandle || !inbuf || !*inbuf || !inbytesleft || !outbuf || !*outbuf ||
        !outbytesleft)
        return 0;
    Handle* handle = static_cast<Handle*>(cd);
    // Each call tells its own reason, or a caller converting in rounds would never finish.
    handle->stopReason = FENDRAKE_ICONV_STOP_NONE;
    const uint8_t* in = reinterpret_cast<const uint8_t*>(*inbuf);
    uint32_t inLeft = *inbytesleft;
    uint8_t* const outStart = reinterpret_cast<uint8_t*>(*outbuf);
    uint8_t* out = outStart;
    uint32_t outLeft = *outbytesleft;
    const bool composing = handle->decode == DecodeIso6937;
    CompositionGroup group;
    const uint8_t* groupStart = in;

    while (inLeft > 0) {
        if (group.mMarkCount == 0 && outLeft >= 8) {
            Span span = {in, in + inLeft, out, out + outLeft};
            ConvertFast(*handle, span);
            inLeft -= static_cast<uint32_t>(span.mIn - in);
            outLeft -= static_cast<uint32_t>(span.mOut - out);
            in = span.mIn;
            out = span.mOut;
            if (inLeft == 0)
                break;
        }
        uint32_t codePoint = 0;
        uint32_t used = handle->decode(handle, &codePoint, in, inLeft);
        if (used == 0)
            break;
        if (used > inLeft)
            used = inLeft;
        if (!composing || (group.mMarkCount == 0 && !IsMark(codePoint))) {
            const uint32_t written = handle->encode(handle, codePoint, out, outLeft);
            if (written == 0 && handle->stopReason == FENDRAKE_ICONV_STOP_OUTPUT_FULL)
                break;
            in += used;
            inLeft -= used;
            out += written;
            outLeft -= written;
            continue;
        }
        if (IsMark(codePoint)) {
            if (group.mMarkCount == 0)
                groupStart = in;
            if (group.mMarkCount < kMaxMarks)
                group.mMarks[group.mMarkCount++] = codePoint;
            in += used;
            inLeft -= used;
            continue;
        }
        group.Build(handle, codePoint);
        handle->stopReason = FENDRAKE_ICONV_STOP_NONE;
        uint32_t length = group.mLength;
        if (length > outLeft) {
            handle->stopReason = FENDRAKE_ICONV_STOP_OUTPUT_FULL;
            if (out != outStart) {
                // Give the marks and the base back; the next call has the whole room.
                inLeft += static_cast<uint32_t>(in - groupStart);
                in = groupStart;
                break;
            }
            // Not even an empty output takes the group: keep what fits, so
            // that a caller converting in rounds always gets on.
            length = group.FittingLength(outLeft);
        }
        memcpy(out, group.mBytes, length);
        out += length;
        outLeft -= length;
        in += used;
        inLeft -= used;
        group.mMarkCount = 0;
        if (handle->stopReason == FENDRAKE_ICONV_STOP_OUTPUT_FULL)
            break;
    }
    // Marks still waiting for their base at the end of the input are lost.
    const unsigned int written = static_cast<unsigned int>(out - outStart);
    *inbuf = reinterpret_cast<const char*>(in);
    *inbytesleft = inLeft;
    *outbuf = reinterpret_cast<char*>(out);
    *outbytesleft = outLeft;
    return written;
}

int fendrake_iconv_close(void* cd) {
    if (cd != kNoHandle)
        delete static_cast<Handle*>(cd);
    return 0;
}

unsigned int fendrake_iconv_get_stop_reson(void* cd) {
    if (!cd || cd == kNoHandle)
        return FENDRAKE_ICONV_STOP_NONE;
    return static_cast<Handle*>(cd)->stopReason;
}
}

bool FendrakeIconvSetup(FendrakeIconvHandle& oHandle, const char* iToCode, const char* iFromCode) {
    const FendrakeIconvTableEntry* to = nullptr;
    const FendrakeIconvTableEntry* from = nullptr;
    for (const FendrakeIconvTableEntry* entry = fendrake_iconv_table; entry->name; ++entry) {
        if (iToCode && !to && strcmp(entry->name, iToCode) == 0)
            to = entry;
        if (iFromCode && !from && strcmp(entry->name, iFromCode) == 0)
            from = entry;
    }
    if (!to || !from || !to->encoder || !from->decoder)
        return false;
    oHandle.decode = from->decoder;
    oHandle.encode = to->encoder;
    oHandle.utf16Decode = from->decoder == DecodeUtf16 ? DecodeUtf16Order<true> : nullptr;
    oHandle.stopReason = FENDRAKE_ICONV_STOP_NONE;
    return true;
}

bool FendrakeIconvIsUcs2ToUtf8(const FendrakeIconvHandle& iHandle) {
    return iHandle.decode == DecodeUcs2 && iHandle.encode == EncodeUtf8;
}

const uint16_t* FendrakeIconvComposition(uint32_t iMark, uint32_t iBase) {
    return Composition(iMark, iBase);
}

const uint16_t* FendrakeIconvHighHalf(const FendrakeIconvHandle& iHandle, bool& oComposing) {
    oComposing = iHandle.decode == DecodeIso6937;
    if (iHandle.encode != EncodeUtf8)
        return nullptr;
    for (const FastPath& path : kFastPaths) {
        if (path.mDecoder == iHandle.decode)
            return path.mHighHalf;
    }
    return nullptr;
}

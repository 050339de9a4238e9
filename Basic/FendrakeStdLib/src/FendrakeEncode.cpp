#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "FendrakeUtf8Forms.h"

#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeEncode";

constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
enum : unsigned char { kInvalid = 255, kSpace = 254, kPad = 253 };

struct ByteTable {
    unsigned char mValue[256];
};

constexpr ByteTable MakeBase64Classes() {
    ByteTable table{};
    for (int i = 0; i < 256; ++i)
        table.mValue[i] = kInvalid;
    for (int i = 0; i < 64; ++i)
        table.mValue[static_cast<unsigned char>(kBase64Alphabet[i])] =
            static_cast<unsigned char>(i);
    for (int i = 0x09; i <= 0x0F; ++i)
        table.mValue[i] = kSpace;
    table.mValue[static_cast<unsigned char>(' ')] = kSpace;
    table.mValue[static_cast<unsigned char>('=')] = kPad;
    return table;
}
constexpr ByteTable kBase64Classes = MakeBase64Classes();

// The sextet of each byte already moved to its place in a group of four, so
// that a group is four lookups or'ed; anything else sets bit 31.
struct ShiftedSextets {
    uint32_t mBits[4][256];
};

constexpr ShiftedSextets MakeShiftedSextets() {
    ShiftedSextets table{};
    for (int place = 0; place < 4; ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            const unsigned char kind = kBase64Classes.mValue[byte];
            table.mBits[place][byte] =
                kind < 64 ? static_cast<uint32_t>(kind) << (18 - 6 * place) : 0x80000000u;
        }
    }
    return table;
}
constexpr ShiftedSextets kShiftedSextets = MakeShiftedSextets();

constexpr ByteTable MakeHexValues() {
    ByteTable table{};
    for (int i = 0; i < 256; ++i)
        table.mValue[i] = 255;
    for (int i = 0; i < 10; ++i)
        table.mValue['0' + i] = static_cast<unsigned char>(i);
    for (int i = 0; i < 6; ++i) {
        table.mValue['A' + i] = static_cast<unsigned char>(10 + i);
        table.mValue['a' + i] = static_cast<unsigned char>(10 + i);
    }
    return table;
}
constexpr ByteTable kHexValues = MakeHexValues();

bool IsContinuation(unsigned char iByte) {
    return (iByte & 0xC0) == 0x80;
}

// "&#<decimal>;" of a byte; returns its length (4 to 6).
unsigned int NumericEntity(unsigned char iByte, unsigned char* oDest) {
    char digits[3];
    unsigned int count = 0;
    unsigned int value = iByte;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value);
    unsigned int length = 0;
    oDest[length++] = '&';
    oDest[length++] = '#';
    while (count)
        oDest[length++] = static_cast<unsigned char>(digits[--count]);
    oDest[length++] = ';';
    return length;
}

const char* NamedEntity(unsigned char iByte) {
    switch (iByte) {
    case '"':
        return "&quot;";
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        return nullptr;
    }
}

bool IsAsciiAlnum(char iChar) {
    return (iChar >= '0' && iChar <= '9') || (iChar >= 'a' && iChar <= 'z') ||
           (iChar >= 'A' && iChar <= 'Z');
}

// Whether a reference ("#x<hex>;", "#<decimal>;" or "<name>;") starts at iAt.
bool IsReference(const std::string& iText, size_t iAt) {
    size_t at = iAt;
    int (*isDigit)(int) = nullptr;
    if (at < iText.size() && iText[at] == '#') {
        ++at;
        if (at < iText.size() && iText[at] == 'x') {
            ++at;
            isDigit = isxdigit;
        } else {
            isDigit = isdigit;
        }
    }
    const size_t first = at;
    while (at < iText.size() && (isDigit ? isDigit(static_cast<unsigned char>(iText[at])) != 0
                                         : IsAsciiAlnum(iText[at])))
        ++at;
    return at > first && at < iText.size() && iText[at] == ';';
}

bool IsSpace(char iChar) {
    return isspace(static_cast<unsigned char>(iChar)) != 0;
}
} // namespace

extern "C" {

int base64encodeBufferSize(int iSourceLength) {
    if (iSourceLength <= 0)
        return 0;
    const int64_t length = iSourceLength;
    const int64_t pad = length % 3 ? 3 - length % 3 : 0;
    const int64_t size = (length + pad) / 3 * 4;
    return size > INT_MAX ? -1 : static_cast<int>(size);
}

int base64encode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
                 int iDestCapacity) {
    const int size = base64encodeBufferSize(iSourceLength);
    if (size < 0 || iDestCapacity < size)
        return -1;
    const unsigned char* source = iSource;
    const unsigned char* const end = iSource + (size ? iSourceLength : 0);
    unsigned char* dest = oDest;
    while (end - source >= 3) {
        const uint32_t bits = source[0] << 16 | source[1] << 8 | source[2];
        dest[0] = kBase64Alphabet[bits >> 18];
        dest[1] = kBase64Alphabet[(bits >> 12) & 63];
        dest[2] = kBase64Alphabet[(bits >> 6) & 63];
        dest[3] = kBase64Alphabet[bits & 63];
        source += 3;
        dest += 4;
    }
    if (source < end) {
        const bool two = end - source == 2;
        const uint32_t bits = source[0] << 16 | (two ? source[1] << 8 : 0);
        dest[0] = kBase64Alphabet[bits >> 18];
        dest[1] = kBase64Alphabet[(bits >> 12) & 63];
        dest[2] = two ? kBase64Alphabet[(bits >> 6) & 63] : '=';
        dest[3] = '=';
    }
    return size;
}

int base64decodeBufferSize(const unsigned char* iSource, int iSourceLength) {
    const unsigned char* const classes = kBase64Classes.mValue;
    int64_t count = 0;
    int pads = 0;
    int i = 0;
    while (i < iSourceLength) {
        // Runs of plain characters four at a time: the special classes have bit 7 set.
        const int start = i;
        while (!pads && iSourceLength - i >= 4 &&
               !((classes[iSource[i]] | classes[iSource[i + 1]] | classes[iSource[i + 2]] |
                  classes[iSource[i + 3]]) &
                 0x80))
            i += 4;
        count += i - start;
        if (i >= iSourceLength)
            break;
        const unsigned char kind = classes[iSource[i++]];
        if (kind == kSpace)
            continue;
        if (kind == kInvalid)
            return -1;
        if (kind == kPad) {
            if (++pads > 3)
                return -1;
        } else if (pads) {
            return -1;
        }
        ++count;
    }
    if (count % 4)
        return -1;
    return static_cast<int>(count / 4 * 3 - pads);
}

int base64decode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
                 int iDestCapacity) {
    const int size = base64decodeBufferSize(iSource, iSourceLength);
    if (size < 0 || size > iDestCapacity)
        return -1;
    const unsigned char* const classes = kBase64Classes.mValue;
    int written = 0;
    unsigned char group[4];
    int filled = 0;
    int i = 0;
    while (i < iSourceLength) {
        // Whole groups of plain characters; the size check has made room for them.
        while (!filled && iSourceLength - i >= 4 && iDestCapacity - written >= 3) {
            const uint32_t bits =
                kShiftedSextets.mBits[0][iSource[i]] | kShiftedSextets.mBits[1][iSource[i + 1]] |
                kShiftedSextets.mBits[2][iSource[i + 2]] | kShiftedSextets.mBits[3][iSource[i + 3]];
            if (bits & 0x80000000u)
                break;
            oDest[written] = static_cast<unsigned char>(bits >> 16);
            oDest[written + 1] = static_cast<unsigned char>(bits >> 8);
            oDest[written + 2] = static_cast<unsigned char>(bits);
            written += 3;
            i += 4;
        }
        if (i >= iSourceLength)
            break;
        const unsigned char kind = classes[iSource[i++]];
        if (kind == kSpace)
            continue;
        group[filled++] = kind;
        if (filled < 4)
            continue;
        filled = 0;
        int bytes = 3;
        if (group[3] == kPad)
            bytes = group[2] == kPad ? 1 : 2;
        uint32_t bits = 0;
        for (unsigned char sextet : group)
            bits = bits << 6 | (sextet == kPad ? 0 : sextet);
        // "a===" passes the size check as 0 bytes but its group still gives one:
        // the capacity is the bound.
        for (int k = 0; k < bytes && written < iDestCapacity; ++k)
            oDest[written++] = static_cast<unsigned char>(bits >> (16 - 8 * k));
    }
    return written;
}

int hex_encode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
               int iDestCapacity) {
    static const char kDigits[] = "0123456789ABCDEF";
    if (iSourceLength <= 0)
        return 0;
    if (static_cast<int64_t>(iDestCapacity) < 2 * static_cast<int64_t>(iSourceLength))
        return -1;
    for (int i = 0; i < iSourceLength; ++i) {
        oDest[2 * i] = kDigits[iSource[i] >> 4];
        oDest[2 * i + 1] = kDigits[iSource[i] & 15];
    }
    return 2 * iSourceLength;
}

int hex_decode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
               int iDestCapacity) {
    if (iSourceLength <= 0)
        return 0;
    if (iDestCapacity < iSourceLength / 2)
        return -1;
    int written = 0;
    for (int i = 0; i < iSourceLength && written < iDestCapacity; i += 2) {
        const unsigned char high = kHexValues.mValue[iSource[i]];
        // An odd last digit pairs with a 0 byte, never with what lies behind the input.
        const unsigned char low = kHexValues.mValue[i + 1 < iSourceLength ? iSource[i + 1] : 0];
        oDest[written++] = static_cast<unsigned char>((high & 15) << 4 | (low & 15));
    }
    return written;
}

unsigned int utf8escapedchars(const unsigned char* iSource, unsigned int iSourceLength,
                              unsigned char* oDest, unsigned int iDestCapacity, bool iEscapeXml,
                              bool iEscapeControl, bool iEscapeWide) {
    unsigned int out = 0;
    unsigned int i = 0;
    while (i < iSourceLength) {
        const unsigned char byte = iSource[i++];
        if ((byte < 32 && iEscapeControl) || ((byte == '&' || byte == '<') && iEscapeXml)) {
            if (iDestCapacity - out < 2)
                return out;
            oDest[out++] = static_cast<unsigned char>(0xC0 | byte >> 6);
            oDest[out++] = static_cast<unsigned char>(0x80 | (byte & 63));
            continue;
        }
        if (byte > 127 && iEscapeWide && byte >= 0xE0 && byte <= 0xF7) {
            const bool three = byte <= 0xEF;
            if (iDestCapacity - out < (three ? 3u : 2u))
                return out;
            oDest[out++] = 0xF8;
            if (three) {
                oDest[out++] = 0x80;
                oDest[out++] = static_cast<unsigned char>(0x80 | (byte & 15));
            } else {
                oDest[out++] = static_cast<unsigned char>(0x80 | (byte & 7));
            }
        } else {
            if (out >= iDestCapacity)
                return out;
            oDest[out++] = byte;
        }
        if (byte <= 127)
            continue;
        while (i < iSourceLength && IsContinuation(iSource[i])) {
            if (out >= iDestCapacity)
                return out;
            oDest[out++] = iSource[i++];
        }
    }
    return out;
}

unsigned int utf8escapedcharsBufferSize(const unsigned char* iSource, unsigned int iSourceLength,
                                        bool iEscapeXml, bool iEscapeControl, bool iEscapeWide) {
    unsigned int size = 0;
    for (unsigned int i = 0; i < iSourceLength; ++i) {
        const unsigned char byte = iSource[i];
        if ((byte < 32 && iEscapeControl) || ((byte == '&' || byte == '<') && iEscapeXml))
            size += 2;
        else if (iEscapeWide && byte >= 0xE0 && byte <= 0xEF)
            size += 3;
        else if (iEscapeWide && byte >= 0xF0 && byte <= 0xF7)
            size += 2;
        else
            size += 1;
    }
    return size;
}

int utf8shortestform(const unsigned char* iSource, unsigned int iSourceLength, unsigned char* oDest,
                     unsigned int iDestCapacity, bool iCombineSurrogates) {
    const int full = static_cast<int>(iDestCapacity);
    unsigned int out = 0;
    unsigned int i = 0;
    bool highPending = false;
    uint32_t high = 0;
    while (i < iSourceLength) {
        const unsigned char lead = iSource[i];
        if (lead < 0x80 || (lead >= 0xC0 && lead <= 0xDF)) {
            unsigned int used = 1;
            unsigned char bytes[2] = {lead, 0};
            unsigned int length = 1;
            if (lead >= 0x80) {
                if (i + 1 >= iSourceLength) {
                    fendrake_attention(kPath, 291, "i+1<iSourceLength");
                    return -1;
                }
                const unsigned char next = iSource[i + 1];
                if (!IsContinuation(next)) {
                    fendrake_attention(kPath, 296, "(iSource[i+1]&0xC0)==0x80");
                    return -1;
                }
                used = 2;
                if (lead > 0xC1) {
                    bytes[1] = next;
                    length = 2;
                } else {
                    // 0xC1 comes back with bit 7 set and bit 6 clear: kept so.
                    bytes[0] = static_cast<unsigned char>((lead << 7) | (next & 63));
                }
            }
            if (highPending) {
                fendrake_attention(kPath, 347, "value>=0xDC00 && value<=0xDFFF");
                return -1;
            }
            if (iDestCapacity - out < length)
                return full;
            memcpy(oDest + out, bytes, length);
            out += length;
            i += used;
            continue;
        }
        // ASCII and two-byte leads are done: 0 or 3 to 6 here.
        const unsigned int length = FendrakeUtf8SequenceLength(lead);
        if (length == 0) {
            fendrake_attention(kPath, 322, "0");
            return -1;
        }
        const unsigned int present = iSourceLength - i < length ? iSourceLength - i : length;
        uint32_t value;
        if (FendrakeUtf8Gather(iSource + i, present, value) != present) {
            fendrake_attention(kPath, 332, "(iSource[i+k]&0xC0)==0x80");
            return -1;
        }
        if (present != length) {
            fendrake_attention(FENDRAKE_FILE, __LINE__, "i+k<iSourceLength");
            return -1;
        }
        i += length;
        if (iCombineSurrogates) {
            if (highPending) {
                if (value < 0xDC00 || value > 0xDFFF) {
                    fendrake_attention(kPath, 347, "value>=0xDC00 && value<=0xDFFF");
                    return -1;
                }
                value = ((value & 1023) | (high & 1023) << 10) + 65536;
                highPending = false;
            } else if (value >= 0xD800 && value <= 0xDBFF) {
                highPending = true;
                high = value;
                continue;
            }
        }
        unsigned char form[6];
        unsigned int formLength = FendrakeUtf8ShortestLength(value);
        fendrake_encode_to_utf8_encode_to_length(value, form, formLength);
        // A value with the top bit set goes out without its lead byte.
        const unsigned int skip = (value & 0x80000000u) ? 1 : 0;
        formLength -= skip;
        if (iDestCapacity - out < formLength)
            return full;
        memcpy(oDest + out, form + skip, formLength);
        out += formLength;
    }
    return full;
}

unsigned int xmlescapechars(const unsigned char* iSource, unsigned int iSourceLength,
                            unsigned char* oDest, unsigned int iDestCapacity, bool iEscapeControl,
                            bool iEscapeHigh) {
    unsigned int out = 0;
    for (unsigned int i = 0; i < iSourceLength; ++i) {
        const unsigned char byte = iSource[i];
        const char* entity = NamedEntity(byte);
        if (entity) {
            const unsigned int length = static_cast<unsigned int>(strlen(entity));
            if (iDestCapacity - out >= length) {
                memcpy(oDest + out, entity, length);
                out += length;
            }
        } else if ((byte >= 224 && iEscapeHigh) || (byte < 32 && iEscapeControl)) {
            if (iDestCapacity - out >= (byte >= 224 ? 6u : 5u))
                out += NumericEntity(byte, oDest + out);
        } else if (out < iDestCapacity) {
            oDest[out++] = byte;
        }
    }
    return out;
}

unsigned int xmlescapecharsBufferSize(const unsigned char* iSource, int iSourceLength,
                                      bool iEscapeControl, bool iEscapeHigh) {
    unsigned int size = 0;
    for (int i = 0; i < iSourceLength; ++i) {
        const unsigned char byte = iSource[i];
        const char* entity = NamedEntity(byte);
        if (entity)
            size += static_cast<unsigned int>(strlen(entity));
        else if (byte >= 224 && iEscapeHigh)
            size += 6;
        else if (byte < 32 && iEscapeControl)
            size += 5;
        else
            size += 1;
    }
    return size;
}

int xmlunescapechars(const unsigned char* iSource, unsigned int iSourceLength, unsigned char* oDest,
                     unsigned int iDestCapacity, bool iStripTags) {
    static const struct {
        const char* mName;
        unsigned char mByte;
    } kEntities[] = {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"quot;", '"'}, {"apos;", '\''}};
    unsigned int out = 0;
    unsigned int i = 0;
    while (i < iSourceLength && out < iDestCapacity) {
        const unsigned char byte = iSource[i];
        if (iStripTags && byte == '<') {
            while (i < iSourceLength && iSource[i] != '>')
                ++i;
            i += i < iSourceLength;
            continue;
        }
        if (byte != '&') {
            oDest[out++] = byte;
            ++i;
            continue;
        }
        const unsigned int left = iSourceLength - i - 1;
        if (left < 3)
            return -1;
        const unsigned char* name = iSource + i + 1;
        if (name[0] == '#') {
            unsigned int at = i + 2;
            unsigned int value = 0;
            for (;; ++at) {
                if (at >= iSourceLength)
                    return -1;
                const unsigned char digit = iSource[at];
                if (digit == ';')
                    break;
                if (digit < '0' || digit > '9')
                    return -1;
                value = value * 10 + (digit - '0');
                if (value > 255)
                    return -1;
            }
            oDest[out++] = static_cast<unsigned char>(value);
            i = at + 1;
            continue;
        }
        bool known = false;
        for (const auto& entity : kEntities) {
            const unsigned int length = static_cast<unsigned int>(strlen(entity.mName));
            if (left >= length && memcmp(name, entity.mName, length) == 0) {
                oDest[out++] = entity.mByte;
                i += 1 + length;
                known = true;
                break;
            }
        }
        if (!known)
            return -1;
    }
    return static_cast<int>(out);
}
}

std::string FendrakeStringFixXmlEntities(std::string iText) {
    std::string out;
    out.reserve(iText.size());
    bool inTag = false;
    char quote = 0;
    for (size_t i = 0; i < iText.size(); ++i) {
        const char c = iText[i];
        if (c == '<' && !inTag) {
            inTag = true;
            out += c;
        } else if (c == '>' && inTag && !quote) {
            inTag = false;
            out += c;
        } else if ((c == '\'' || c == '"') && inTag && (!quote || quote == c)) {
            quote = quote ? 0 : c;
            out += c;
        } else if (c == '&') {
            out += IsReference(iText, i + 1) ? "&" : "&amp;";
        } else {
            const char* entity = NamedEntity(static_cast<unsigned char>(c));
            if (entity)
                out += entity;
            else
                out += c;
        }
    }
    return out;
}

std::string FendrakeStringSimplifyXml(std::string iText, bool iCollapse) {
    std::string out;
    out.reserve(iText.size());
    size_t i = 0;
    while (i < iText.size()) {
        if (!IsSpace(iText[i])) {
            out += iText[i++];
            continue;
        }
        size_t end = i;
        while (end < iText.size() && IsSpace(iText[end]))
            ++end;
        const bool dropped =
            i == 0 || iText[i - 1] == '>' || (end < iText.size() && iText[end] == '<');
        if (!dropped) {
            if (iCollapse)
                out += ' ';
            else
                out.append(iText, i, end - i);
        }
        i = end;
    }
    return out;
}

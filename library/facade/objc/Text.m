#import "facade/objc/Internal.h"

// Converts unit by unit: Foundation's conversions fail on text that is not Unicode, and GNUstep's
// take a first U+FEFF for a byte order mark.

enum {
    replacementCharacter = 0xFFFD,
    firstSupplementary = 0x10000,
};

static bool isHighSurrogate(unichar unit) {
    return (unit & 0xFC00) == 0xD800;
}

static bool isLowSurrogate(unichar unit) {
    return (unit & 0xFC00) == 0xDC00;
}

/// The number of bytes written.
static size_t encode(uint32_t character, char *bytes) {
    static const unsigned char leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const size_t size = character < 0x80                 ? 1
                        : character < 0x800              ? 2
                        : character < firstSupplementary ? 3
                                                         : 4;
    for (size_t index = size - 1; index > 0; --index, character >>= 6) {
        bytes[index] = (char)(0x80 | (character & 0x3F));
    }
    bytes[0] = (char)(leads[size] | character);
    return size;
}

zentara_text zentaraText(NSString *string) {
    const NSUInteger length = [string length];
    // No unit takes more than three bytes.
    NSMutableData *utf16 = [NSMutableData dataWithLength:length * sizeof(unichar)];
    NSMutableData *utf8 = [NSMutableData dataWithLength:length * 3 + 1];
    unichar *units = [utf16 mutableBytes];
    char *bytes = [utf8 mutableBytes];
    if (length != 0) [string getCharacters:units range:NSMakeRange(0, length)];
    size_t size = 0;
    for (NSUInteger index = 0; index < length; ++index) {
        uint32_t character = units[index];
        if (isHighSurrogate(units[index]) && index + 1 < length &&
            isLowSurrogate(units[index + 1])) {
            ++index;
            character = firstSupplementary + ((character & 0x3FF) << 10) + (units[index] & 0x3FF);
        } else if (isHighSurrogate(units[index]) || isLowSurrogate(units[index])) {
            character = replacementCharacter;
        }
        size += encode(character, bytes + size);
    }
    return (zentara_text){bytes, size};
}

zentara_text zentaraOptionalText(NSString *string) {
    return string == nil ? (zentara_text){NULL, 0} : zentaraText(string);
}

/// The next character of UTF-8; U+FFFD for bytes that are none, and for a character that is cut.
static uint32_t decode(const unsigned char **next, const unsigned char *end) {
    const uint32_t first = *(*next)++;
    if (first < 0x80) return first;
    if (first < 0xC0 || first > 0xF4) return replacementCharacter;
    const int more = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    uint32_t character = first & (0x3Fu >> more);
    for (int index = 0; index < more; ++index) {
        if (*next == end || (**next & 0xC0) != 0x80) return replacementCharacter;
        character = (character << 6) | (*(*next)++ & 0x3F);
    }
    return character <= 0x10FFFF ? character : replacementCharacter;
}

NSString *zentaraString(zentara_text text) {
    if (text.length == 0) return @"";
    NSMutableData *utf16 = [NSMutableData dataWithLength:(text.length + 1) * sizeof(unichar)];
    unichar *units = [utf16 mutableBytes];
    // Behind another character, U+FEFF is no byte order mark.
    units[0] = ' ';
    NSUInteger length = 1;
    const unsigned char *next = (const unsigned char *)text.bytes;
    const unsigned char *end = next + text.length;
    while (next != end) {
        const uint32_t character = decode(&next, end);
        if (character < firstSupplementary) {
            units[length++] = (unichar)character;
        } else {
            units[length++] = (unichar)(0xD800 | ((character - firstSupplementary) >> 10));
            units[length++] = (unichar)(0xDC00 | (character & 0x3FF));
        }
    }
    if (units[1] != 0xFEFF && units[1] != 0xFFFE) {
        return [NSString stringWithCharacters:units + 1 length:length - 1];
    }
    return [[NSString stringWithCharacters:units length:length] substringFromIndex:1];
}

NSArray<NSString *> *zentaraStrings(const zentara_text *texts, size_t count) {
    NSMutableArray *strings = [NSMutableArray arrayWithCapacity:count];
    for (size_t index = 0; index < count; ++index) {
        [strings addObject:zentaraString(texts[index])];
    }
    return [NSArray arrayWithArray:strings];
}

int64_t zentaraMilliseconds(NSTimeInterval seconds) {
    // False for a number that is none, too.
    if (!(seconds > 0)) return 0;
    const double most = 1e15;
    return (int64_t)(seconds * 1000 < most ? seconds * 1000 : most);
}

NSString *zentaraOptionalString(zentara_text text) {
    return text.bytes == NULL ? nil : zentaraString(text);
}

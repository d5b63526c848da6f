#include "ByteUtil.h"

#include <cstring>

#include "Util.h"

namespace {

// Reads n bytes one at a time; end of file (or no file) is fatal, and the
// missing bytes read as 0 when the exit has already begun.
void readBytes(FILE* fp, unsigned char* bytes, int n) {
    for (int i = 0; i < n; i++) {
        int c = fp ? fgetc(fp) : EOF;
        if (c == EOF) {
            fatal("Error:  Premature end-of-file reached.\n");
            memset(bytes + i, 0, n - i);
            return;
        }
        bytes[i] = (unsigned char)c;
    }
}

void reverse(unsigned char* bytes, int n) {
    for (int i = 0, j = n - 1; i < j; i++, j--) {
        unsigned char t = bytes[i];
        bytes[i] = bytes[j];
        bytes[j] = t;
    }
}

// Writes the low n bytes of value, most significant first.
void writeBigEndian(FILE* fp, uint64_t value, int len) {
    unsigned char bytes[8];
    for (int i = len - 1; i >= 0; i--) {
        bytes[i] = (unsigned char)value;
        value >>= 8;
    }
    size_t n = fp ? fwrite(bytes, len, 1, fp) : 0;
    ASSERT(n > 0);
}

}  // namespace

int readint(FILE* fp) {
    unsigned char bytes[4];
    readBytes(fp, bytes, 4);
    int value;
    memcpy(&value, bytes, 4);
    return value;
}

float readfloat(FILE* fp) {
    unsigned char bytes[4];
    readBytes(fp, bytes, 4);
    float value;
    memcpy(&value, bytes, 4);
    return value;
}

short readshort(FILE* fp) {
    unsigned char bytes[2];
    readBytes(fp, bytes, 2);
    short value;
    memcpy(&value, bytes, 2);
    return value;
}

uint32_t readUnsignedInt32(FILE* fp, bool swap) {
    unsigned char bytes[4];
    readBytes(fp, bytes, 4);
    if (swap) reverse(bytes, 4);
    uint32_t value;
    memcpy(&value, bytes, 4);
    return value;
}

uint64_t readUnsignedInt64(FILE* fp, bool swap) {
    unsigned char bytes[8];
    readBytes(fp, bytes, 8);
    if (swap) reverse(bytes, 8);
    uint64_t value;
    memcpy(&value, bytes, 8);
    return value;
}

void writeuint1(FILE* fp, uint8_t value) { writeBigEndian(fp, value, 1); }
void writeuint2(FILE* fp, uint16_t value) { writeBigEndian(fp, value, 2); }
void writeuint4(FILE* fp, uint32_t value) { writeBigEndian(fp, value, 4); }
void writeuint8(FILE* fp, uint64_t value) { writeBigEndian(fp, value, 8); }

void getBytes(FILE* fp, size_t n, void* buffer, const char* name) {
    if (!fp || fread(buffer, 1, n, fp) != n)
        fatal("Error:  getBytes() unable to read SFF file:  %s\n", name);
}

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

// Reads sizeof(T) bytes in the machine's order, reversed first when swap is set.
template <class T>
T readRaw(FILE* fp, bool swap) {
    unsigned char bytes[sizeof(T)];
    readBytes(fp, bytes, sizeof(T));
    if (swap) reverse(bytes, sizeof(T));
    T value;
    memcpy(&value, bytes, sizeof(T));
    return value;
}

}  // namespace

int readint(FILE* fp) { return readRaw<int>(fp, false); }
float readfloat(FILE* fp) { return readRaw<float>(fp, false); }
short readshort(FILE* fp) { return readRaw<short>(fp, false); }
uint32_t readUnsignedInt32(FILE* fp, bool swap) { return readRaw<uint32_t>(fp, swap); }
uint64_t readUnsignedInt64(FILE* fp, bool swap) { return readRaw<uint64_t>(fp, swap); }

void writeuint1(FILE* fp, uint8_t value) { writeBigEndian(fp, value, 1); }
void writeuint2(FILE* fp, uint16_t value) { writeBigEndian(fp, value, 2); }
void writeuint4(FILE* fp, uint32_t value) { writeBigEndian(fp, value, 4); }
void writeuint8(FILE* fp, uint64_t value) { writeBigEndian(fp, value, 8); }

void getBytes(FILE* fp, size_t n, void* buffer, const char* name) {
    if (!fp || fread(buffer, 1, n, fp) != n)
        fatal("Error:  getBytes() unable to read SFF file:  %s\n", name);
}

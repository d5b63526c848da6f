// Big-endian integer access in memory and in files: the byte order of the
// suite's binary files.
#pragma once

#include <cstdint>
#include <cstdio>

// Reads 1, 2, 4, 8 big-endian bytes from memory.
inline uint8_t getuint8(const unsigned char* p) { return p[0]; }
inline uint16_t getuint16(const unsigned char* p) { return (uint16_t)((p[0] << 8) | p[1]); }
inline uint32_t getuint32(const unsigned char* p) {
    return ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3];
}
inline uint64_t getuint64(const unsigned char* p) {
    return ((uint64_t)getuint32(p) << 32) | getuint32(p + 4);
}
inline uint8_t getuint8(const char* p) { return getuint8((const unsigned char*)p); }
inline uint16_t getuint16(const char* p) { return getuint16((const unsigned char*)p); }
inline uint32_t getuint32(const char* p) { return getuint32((const unsigned char*)p); }
inline uint64_t getuint64(const char* p) { return getuint64((const unsigned char*)p); }

// Base-255 number of 4 bytes: p[0]*16581375 + p[1]*65025 + p[2]*255 + p[3].
inline uint32_t getuint4_255(const unsigned char* p) {
    return (uint32_t)p[0] * 16581375u + (uint32_t)p[1] * 65025u + (uint32_t)p[2] * 255u + p[3];
}
inline uint32_t getuint4_255(const char* p) { return getuint4_255((const unsigned char*)p); }

// Writes 1, 2, 4 big-endian bytes to memory.
inline void setuint8(unsigned char* p, uint8_t v) { p[0] = v; }
inline void setuint16(unsigned char* p, uint16_t v) {
    p[0] = (unsigned char)(v >> 8);
    p[1] = (unsigned char)v;
}
inline void setuint32(unsigned char* p, uint32_t v) {
    p[0] = (unsigned char)(v >> 24);
    p[1] = (unsigned char)(v >> 16);
    p[2] = (unsigned char)(v >> 8);
    p[3] = (unsigned char)v;
}
inline void setuint8(char* p, uint8_t v) { setuint8((unsigned char*)p, v); }
inline void setuint16(char* p, uint16_t v) { setuint16((unsigned char*)p, v); }
inline void setuint32(char* p, uint32_t v) { setuint32((unsigned char*)p, v); }

// Reads 4, 4, 2 bytes in the machine's order, one byte at a time; end of file is fatal.
int readint(FILE* fp);
float readfloat(FILE* fp);
short readshort(FILE* fp);
// Reads 4 or 8 bytes; swap reverses them, turning big-endian data into the
// machine's order. End of file is fatal.
uint32_t readUnsignedInt32(FILE* fp, bool swap);
uint64_t readUnsignedInt64(FILE* fp, bool swap);

// Writes 1, 2, 4, 8 big-endian bytes to a file; a failed write is an assertion.
void writeuint1(FILE* fp, uint8_t value);
void writeuint2(FILE* fp, uint16_t value);
void writeuint4(FILE* fp, uint32_t value);
void writeuint8(FILE* fp, uint64_t value);

// Reads exactly n bytes into buffer; otherwise fatal, naming the file.
void getBytes(FILE* fp, size_t n, void* buffer, const char* name);

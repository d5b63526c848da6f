#include "stringbuffer.h"

#include <climits>
#include <cstdarg>
#include <cstring>

#include "Util.h"

namespace {

const char* OUT_OF_MEMORY =
    "Error:  The computation ran out of memory and is unable to continue.\n";

// A zeroed array of the given size.
char* newArray(int size) {
    char* text = new (std::nothrow) char[size];
    if (!text) {
        die("%s", OUT_OF_MEMORY);
        return nullptr;
    }
    memset(text, 0, size);
    return text;
}

}  // namespace

stringbuffer::stringbuffer(int capacity, int increment) : sb(nullptr) {
    _init(capacity, increment);
}

stringbuffer::stringbuffer(const char* text) : sb(nullptr) {
    int n = (int)strlen(text);
    _init(n + 1, 0);
    append(text, n);
}

stringbuffer::stringbuffer(const stringbuffer& other) : sb(nullptr) {
    _init(other.sb->capacity, other.sb->increment);
    append(other.sb->text, other.sb->length);
}

stringbuffer::stringbuffer(stringbuffer&& other) noexcept : sb(other.sb) { other.sb = nullptr; }

stringbuffer& stringbuffer::operator=(const stringbuffer& other) {
    if (this != &other) assign(other);
    return *this;
}

stringbuffer& stringbuffer::operator=(stringbuffer&& other) noexcept {
    std::swap(sb, other.sb);
    return *this;
}

stringbuffer::~stringbuffer() {
    if (sb) _free();
}

void stringbuffer::_init(int capacity, int increment) {
    if (capacity < 32) capacity = 32;
    sb = new StringBufferRecord;
    sb->length = 0;
    sb->capacity = capacity;
    sb->increment = increment < 0 ? 0 : increment;
    sb->text = newArray(capacity);
}

void stringbuffer::_free() {
    if (atexitFlag || !sb) return;
    delete[] sb->text;
    delete sb;
    sb = nullptr;
}

void stringbuffer::_expand(int needed) {
    if (needed + 1 < sb->capacity) return;
    long long capacity = sb->capacity;
    while (needed + 1LL >= capacity) {
        capacity = sb->increment ? capacity + sb->increment : capacity * 2;
    }
    if (capacity > INT_MAX) {
        die("%s", OUT_OF_MEMORY);
        return;
    }
    char* text = newArray((int)capacity);
    if (sb->length > 0) memcpy(text, sb->text, sb->length + 1);
    delete[] sb->text;
    sb->text = text;
    sb->capacity = (int)capacity;
}

void stringbuffer::reset(int capacity) {
    if (capacity < 1) capacity = 1;
    char* text = newArray(capacity);
    delete[] sb->text;
    sb->text = text;
    sb->capacity = capacity;
    sb->length = 0;
}

void stringbuffer::setLength(int newLength) {
    if (newLength < 0) newLength = 0;
    _expand(newLength);
    sb->length = newLength;
    sb->text[newLength] = 0;
}

void stringbuffer::append(const char* text, int count) {
    if (count <= 0) return;
    _expand(sb->length + count);
    memmove(sb->text + sb->length, text, count);
    sb->length += count;
    sb->text[sb->length] = 0;
}

void stringbuffer::append(const char* text) { append(text, (int)strlen(text)); }

void stringbuffer::append(char c) {
    _expand(sb->length + 1);
    sb->text[sb->length++] = c;
    sb->text[sb->length] = 0;
}

void stringbuffer::appendf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int room = sb->capacity - sb->length;
    int n = vsnprintf(sb->text + sb->length, room, format, args);
    va_end(args);
    if (n >= room) {
        _expand(sb->length + n);
        vsnprintf(sb->text + sb->length, sb->capacity - sb->length, format, again);
    }
    va_end(again);
    if (n > 0) sb->length += n;
    sb->text[sb->length] = 0;
}

void stringbuffer::assign(const char* text, int count) {
    if (count < 0) count = 0;
    if (text >= sb->text && text < sb->text + sb->capacity) {
        // Assigning part of this buffer to itself: move within the array.
        memmove(sb->text, text, count);
        sb->length = count;
        sb->text[count] = 0;
        return;
    }
    sb->length = 0;
    sb->text[0] = 0;
    append(text, count);
}

void stringbuffer::assign(const char* text) { assign(text, (int)strlen(text)); }

void stringbuffer::assign(const stringbuffer& other) {
    if (&other == this) return;
    assign(other.sb->text, other.sb->length);
}

void stringbuffer::erase(int pos, int count) {
    if (pos < 0 || pos >= sb->length || count <= 0) return;
    if (count > sb->length - pos) count = sb->length - pos;
    memmove(sb->text + pos, sb->text + pos + count, sb->length - pos - count + 1);
    sb->length -= count;
}

void stringbuffer::insert(int pos, const char* text, int count) {
    if (count <= 0) return;
    if (pos < 0) pos = 0;
    if (pos > sb->length) pos = sb->length;
    if (text >= sb->text && text < sb->text + sb->capacity) {
        // The text lives in this buffer, which may move: insert a copy.
        std::string copy(text, count);
        insert(pos, copy.data(), count);
        return;
    }
    _expand(sb->length + count);
    memmove(sb->text + pos + count, sb->text + pos, sb->length - pos + 1);
    memcpy(sb->text + pos, text, count);
    sb->length += count;
}

void stringbuffer::insert(int pos, const char* text) { insert(pos, text, (int)strlen(text)); }

std::string stringbuffer::substring(int pos, int count) const {
    if (pos < 0) pos = 0;
    if (pos >= sb->length || count <= 0) return "";
    if (count > sb->length - pos) count = sb->length - pos;
    return std::string(sb->text + pos, count);
}

void stringbuffer::substring(int pos, int count, stringbuffer& out) const {
    if (pos < 0) pos = 0;
    if (pos >= sb->length || count <= 0) {
        out.clear();
        return;
    }
    if (count > sb->length - pos) count = sb->length - pos;
    out.assign(sb->text + pos, count);
}

bool stringbuffer::getline(FILE* stream) {
    clear();
    for (;;) {
        _expand(sb->length + 1000);
        char* piece = sb->text + sb->length;
        piece[0] = 0;
        piece[998] = 0;
        if (!fgets(piece, 1000, stream)) {
            piece[0] = 0;
            break;
        }
        if (piece[998] == 0 || piece[998] == '\n') break;
        sb->length += 999;
    }
    sb->length += (int)strlen(sb->text + sb->length);
    return sb->length > 0;
}

bool stringbuffer::getline(const char* text, char separator) {
    clear();
    const char* end = separator ? strchr(text, separator) : nullptr;
    int count = end ? (int)(end - text) + 1 : (int)strlen(text);
    append(text, count);
    return sb->length > 0;
}

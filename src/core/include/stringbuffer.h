// The growable character buffer used for sequences, names, flowgrams and log text.
#pragma once

#include <cstdio>
#include <string>

// The record a stringbuffer owns; text is always zero-terminated.
struct StringBufferRecord {
    int length;     // characters in use, without the terminator
    int capacity;   // size of text in bytes
    int increment;  // 0: grow by doubling; otherwise the fixed step of growth
    char* text;
};

// A handle to one StringBufferRecord. Hot code reads and writes length() and
// text() directly and keeps the terminator itself; a buffer is emptied by
// setting length() to 0 and text()[0] to 0 (or by clear()).
class stringbuffer {
public:
    // Makes an empty buffer of the given capacity (at least 32).
    explicit stringbuffer(int capacity = 128, int increment = 0);
    // Makes a buffer holding a copy of the text.
    stringbuffer(const char* text);
    // Copies the other buffer's text into a record of its own.
    stringbuffer(const stringbuffer& other);
    // Takes over the other buffer's record; the other is left freed.
    stringbuffer(stringbuffer&& other) noexcept;
    // Copies the other buffer's text.
    stringbuffer& operator=(const stringbuffer& other);
    // Swaps records with the other buffer.
    stringbuffer& operator=(stringbuffer&& other) noexcept;
    // Frees the record (nothing once an exit has begun).
    ~stringbuffer();

    // Allocates record and zeroed array; the capacity is raised to at least 32.
    void _init(int capacity, int increment);
    // Frees record and array; does nothing while an exit is under way.
    void _free();
    // Makes room for needed characters and a terminator.
    void _expand(int needed);
    // Empties the buffer and replaces its array by a zeroed one of this capacity.
    void reset(int capacity);
    // Empties the buffer, keeping its array.
    void clear() {
        sb->length = 0;
        sb->text[0] = 0;
    }

    // Characters in use; the reference lets hot code set it directly.
    int& length() { return sb->length; }
    int length() const { return sb->length; }
    int size() const { return sb->length; }
    bool empty() const { return sb->length == 0; }
    int capacity() const { return sb->capacity; }
    int increment() const { return sb->increment; }
    // The array; writable up to capacity() - 1 characters plus terminator.
    char* text() { return sb->text; }
    const char* text() const { return sb->text; }
    const char* c_str() const { return sb->text; }
    char& operator[](int i) { return sb->text[i]; }
    char operator[](int i) const { return sb->text[i]; }
    // A std::string copy of the text.
    std::string str() const { return std::string(sb->text, sb->length); }
    // Sets the length (growing as needed) and terminates there.
    void setLength(int newLength);

    // Appends count bytes of text and terminates.
    void append(const char* text, int count);
    // Appends a zero-terminated text.
    void append(const char* text);
    void append(char c);
    void append(const std::string& text) { append(text.data(), (int)text.size()); }
    void append(const stringbuffer& other) { append(other.text(), other.length()); }
    // Appends printf-formatted text.
    void appendf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Replaces the contents by count bytes of text.
    void assign(const char* text, int count);
    void assign(const char* text);
    void assign(const std::string& text) { assign(text.data(), (int)text.size()); }
    void assign(const stringbuffer& other);

    // Removes count characters from position pos (clipped to the end).
    void erase(int pos, int count);
    // Inserts count bytes of text before position pos.
    void insert(int pos, const char* text, int count);
    void insert(int pos, const char* text);
    void insert(int pos, char c) { insert(pos, &c, 1); }

    // The count characters from position pos (clipped to the end).
    std::string substring(int pos, int count) const;
    // The same into another buffer.
    void substring(int pos, int count, stringbuffer& out) const;

    // Reads one line (newline kept) of any length; false at end of file.
    bool getline(FILE* stream);
    // Copies text up to and including the first separator (all of it if none);
    // false when nothing was copied.
    bool getline(const char* text, char separator);

    StringBufferRecord* sb;
};

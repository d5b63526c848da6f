// Texts of the current local time.
#pragma once

#include <string>

// strftime of the local time into buffer (at least 100 bytes), at most 99
// characters; a null format means "%x %X". Returns the number of characters.
int getTime(char* buffer, const char* format);
// The same as a string; "" when strftime gives nothing.
std::string getTime(const char* format);
// The ctime text without its newline and with its first double blank cut to
// one; forFileName also turns each ':' into '-' and each blank into '_'.
std::string getTime(bool forFileName);

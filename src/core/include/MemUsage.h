// Memory and CPU use of this process as a short text for log stamps.
#pragma once

// Writes "|cpu%|virtual|resident|mem%|" for this process into buffer (at least
// 100 bytes) and returns 1; works at most once in 5 seconds, otherwise returns 0
// and leaves buffer as it was.
int getMemUsage(char* buffer, int unused);

#include "MemUsage.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Util.h"

int getMemUsage(char* buffer, int) {
    // Starting a process is costly, so the figures are refreshed at most every 5 seconds.
    static time_t lastRun = 0;
    time_t now = time(nullptr);
    if (lastRun != 0 && now - lastRun < 5) return 0;
    lastRun = now;

    char command[100];
    snprintf(command, sizeof command, "ps hu -p %d", (int)getpid());
    FILE* pipe = popen(command, "r");
    if (!pipe) {
        fprintf(stderr, "Error:  Unable to execute command:  '%s'\n", command);
        safeExit(-1);
        return 0;
    }
    char line[1000 + 1];
    char* got = fgets(line, sizeof line, pipe);
    pclose(pipe);
    if (!got) return 0;

    // Columns 3 to 6: CPU share, memory share, virtual and resident size in KB.
    char cpu[64], mem[64];
    double vsz, rss;
    if (sscanf(line, "%*s %*s %63s %63s %lf %lf", cpu, mem, &vsz, &rss) != 4) return 0;
    double larger = vsz > rss ? vsz : rss;
    char unit = ' ';
    if (larger > 1000000) {
        vsz /= 1000000;
        rss /= 1000000;
        unit = 'G';
    } else if (larger > 1000) {
        vsz /= 1000;
        rss /= 1000;
        unit = 'M';
    }
    char text[800];
    snprintf(text, sizeof text, "|%s%%|%.1f%c|%.1f%c|%s%%|", cpu, vsz, unit, rss, unit, mem);
    snprintf(buffer, 100, "%.99s", text);
    return 1;
}

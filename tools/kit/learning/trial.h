#ifndef VELQ_KIT_LEARNING_TRIAL_H
#define VELQ_KIT_LEARNING_TRIAL_H
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
namespace velq::kit {
inline double trial(const char *name, double usual)
{
    const char *v = std::getenv(name);
    return v != nullptr ? std::atof(v) : usual;
}

inline void probe(const char *where)
{
    if (std::getenv("PROBE") == nullptr) {
        return;
    }
    std::FILE *f = std::fopen("/proc/self/status", "r");
    char line[200];
    std::fprintf(stderr, "%s %.1f s ", where, static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
    while (std::fgets(line, sizeof line, f) != nullptr) {
        if (std::strncmp(line, "VmHWM", 5) == 0 || std::strncmp(line, "VmRSS", 5) == 0) {
            line[std::strlen(line) - 1] = ' ';
            std::fputs(line, stderr);
        }
    }
    std::fputs("\n", stderr);
    std::fclose(f);
}

}
#endif

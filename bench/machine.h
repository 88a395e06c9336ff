// How busy the machine was with other things while a benchmark ran.
#ifndef PCSIM_BENCH_MACHINE_H
#define PCSIM_BENCH_MACHINE_H

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>

namespace pcsim::bench {

// Begins with its making. What others had is what the processors were busy with, stolen time
// included, less what this process and its ended children had.
class Machine {
public:
    // "2 processors, of which others had 3 % meanwhile", as the last line of a report.
    void tell() const {
        const Times end;
        const double all = end.all - start_.all;
        const double others = (end.busy - start_.busy) - (end.own - start_.own);
        std::printf("\n%ld processors, of which others had %.0f %% meanwhile\n",
                    sysconf(_SC_NPROCESSORS_ONLN),
                    all > 0 && others > 0 ? 100 * others / all : 0.0);
    }

private:
    // In seconds since the machine or the process began.
    struct Times {
        Times() {
            double user = 0, nice = 0, system = 0, idle = 0, waiting = 0, irq = 0, soft = 0,
                   stolen = 0;
            FILE* const file = std::fopen("/proc/stat", "r");
            if (file == nullptr) return;
            if (std::fscanf(file, "cpu %lf %lf %lf %lf %lf %lf %lf %lf", &user, &nice, &system,
                            &idle, &waiting, &irq, &soft, &stolen) == 8) {
                const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
                busy = (user + nice + system + irq + soft + stolen) / ticks;
                all = busy + (idle + waiting) / ticks;
                own = of(RUSAGE_SELF) + of(RUSAGE_CHILDREN);
            }
            std::fclose(file);
        }

        static double of(int whose) {
            rusage usage{};
            getrusage(whose, &usage);
            return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                   static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
        }

        double busy = 0, all = 0, own = 0;
    };

    Times start_;
};

}  // namespace pcsim::bench

#endif

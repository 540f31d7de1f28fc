// What the library costs a host that never records: starts a host with and one without it by turns, and
// prints the medians of wall-clock time, CPU time and peak resident memory, and the differences.
//   velmor-start-bench WITHOUT WITH [RUNS]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Start {
    double wall, cpu, memory;  // ms, ms, MiB
};

double milliseconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

Start start(char* program) {
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    char* arguments[] = {program, nullptr};
    pid_t child = 0;
    const auto before = std::chrono::steady_clock::now();
    const int error = posix_spawn(&child, program, &quiet, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&quiet);
    int status = 0;
    rusage used{};
    if (error != 0 || wait4(child, &status, 0, &used) != child || status != 0) {
        std::fprintf(stderr, "%s did not run\n", program);
        std::exit(1);
    }
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - before;
    return {wall.count(), milliseconds(used.ru_utime) + milliseconds(used.ru_stime),
            static_cast<double>(used.ru_maxrss) / 1024};
}

double median(const std::vector<Start>& starts, double Start::*what) {
    std::vector<double> values;
    values.reserve(starts.size());
    for (const Start& start : starts) values.push_back(start.*what);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: velmor-start-bench WITHOUT WITH [RUNS]\n");
        return 2;
    }
    const int runs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 100;
    std::vector<Start> without;
    std::vector<Start> with;
    for (int i = 0; i < runs; ++i) {
        without.push_back(start(argv[1]));
        with.push_back(start(argv[2]));
    }
    const auto line = [&](const char* name, double Start::*what) {
        const double plain = median(without, what);
        const double loaded = median(with, what);
        std::printf("%-12s %8.2f without, %8.2f with, %8.2f more\n", name, plain, loaded, loaded - plain);
    };
    line("wall ms", &Start::wall);
    line("CPU ms", &Start::cpu);
    line("memory MiB", &Start::memory);
}

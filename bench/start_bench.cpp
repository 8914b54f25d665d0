/// Start to first paint, and memory at its peak, of the update tool against its form alone. Each run is a new
/// process, measured by what the kernel says it has used; this one stays small, because a child's peak starts at
/// what its parent held.
#include "bench/bench.h"

#include <cstdlib>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Use
{
    double seconds = 1e9; ///< CPU time: a start waits for nothing
    double mib = 1e9;     ///< memory at its peak
};

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Runs a program to its end, which it reaches by itself, and lowers `least` to what it has used.
void run(std::string path, Use* least)
{
    char* arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    rusage used{};
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        wait4(child, &status, 0, &used) != child || status != 0)
        std::abort();
    least->seconds = std::min(least->seconds, seconds(used.ru_utime) + seconds(used.ru_stime));
    least->mib = std::min(least->mib, static_cast<double>(used.ru_maxrss) / 1024); // Linux counts in KiB
}

} // namespace

int main()
{
    Use product;
    Use form;
    for (int i = 0; i < 40; ++i) {
        run(FW_START_FOLDER "/start_product", &product);
        run(FW_START_FOLDER "/start_form", &form);
    }
    bench::row("start to first paint / the dialog's form alone", product.seconds / form.seconds, 1.15);
    bench::row("peak memory more than the form's, MiB", product.mib - form.mib, 1);
    return bench::exit_status;
}

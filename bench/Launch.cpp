// Runs a program and prints what it took: launch PROGRAM ARGUMENT...
// "SECONDS PEAK_KIB STATUS", the peak being the most that it, or a child it waited for, had resident.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>

extern char** environ;

int main(int argc, char** argv) {
    if (argc < 2)
        return 2;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);

    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, argv[1], &files, nullptr, argv + 1, environ) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child)
        return 1;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    std::printf("%.6f %ld %d\n", elapsed.count(), usage.ru_maxrss,
                WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
    return 0;
}

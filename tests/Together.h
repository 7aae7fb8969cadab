#pragma once
// Several processes that start at the same moment: each is forked from the
// test, waits on one pipe until all exist, runs the body and exits with its
// result. What a process raises is printed, so that a failure says why.

#include <cstdio>
#include <exception>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kalvex::testing {

namespace detail {

[[noreturn]] inline void runChild(int goFd, const std::function<bool(int)>& body, int index)
{
    char c;
    (void)!read(goFd, &c, 1);   // returns at end of file: the parent let go
    bool ok = false;
    try {
        ok = body(index);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "process %d: %s\n", index, e.what());
    }
    std::fflush(stderr);
    _exit(ok ? 0 : 1);
}

inline int countFailures(const std::vector<pid_t>& children)
{
    int failed = 0;
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        failed += !(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    return failed;
}

}  // namespace detail

// Returns how many of the n processes failed (raised or returned false).
inline int RunTogether(int n, const std::function<bool(int)>& body)
{
    int go[2];
    if (pipe(go) != 0)
        return n;
    std::fflush(nullptr);   // nothing buffered is written twice
    std::vector<pid_t> children;
    for (int i = 0; i < n; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            close(go[1]);
            detail::runChild(go[0], body, i);
        }
        children.push_back(pid);
    }
    close(go[0]);
    close(go[1]);
    return detail::countFailures(children);
}

}  // namespace kalvex::testing

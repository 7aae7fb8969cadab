#pragma once
// The store reader hands every command line it does not read itself to
// the whole command line, kalvex-full, which replaces it in the same
// process (same arguments, streams, exit code and signals).

namespace kalvex::cli {

// Does not return; when kalvex-full cannot be started it says so and ends
// the process with the environment's exit code.
[[noreturn]] void RunFullProgram(char** argv);

}  // namespace kalvex::cli

// Runs the archive tool with all its checks, but without the sandbox, for comparison.
//
// usage: bench_unsandboxed -x -k ARCHIVE DESTINATION

#include "ditto/Program.h"

using namespace brindle;

int main(int argc, char *argv[])
{
    return ditto::run(argc, argv, [](const Sandbox::Rules & /*rules*/) {}, &ditto::unpack);
}

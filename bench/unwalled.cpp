// The archive tool with all its checks but without walls, to compare with.
//
// usage: bench_unwalled -x -k ARCHIVE DESTINATION

#include "ditto/Program.h"
#include "ditto/StrictPolicy.h"

int main(int argc, char *argv[])
{
    return brindle::Program::run(argc, argv, brindle::StrictPolicy(),
                                 [](const brindle::Sandbox::Rules & /*rules*/) {});
}

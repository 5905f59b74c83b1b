// ditto -x -k ARCHIVE DESTINATION: unpacks a zip archive into an empty folder, in a sandbox. Exits
// with 0, or prints the reason in one line on standard error and exits with another status.

#include "ditto/Program.h"

using namespace brindle;

int main(int argc, char *argv[])
{
    return ditto::run(argc, argv, &Sandbox::enter, &ditto::unpack);
}

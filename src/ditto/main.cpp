// ditto -x -k ARCHIVE DESTINATION: unpacks a zip archive into an empty folder, in a sandbox. Exits
// with 0, or with another status and one line on standard error that says why.

#include "ditto/Program.h"
#include "ditto/StrictPolicy.h"

int main(int argc, char *argv[])
{
    return brindle::Program::run(argc, argv, brindle::StrictPolicy(), &brindle::Sandbox::enter);
}

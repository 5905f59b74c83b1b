// The archive tool without its checks. Tests only: it does what a hostile archive wants.
//
// usage: ditto_unchecked -x -k ARCHIVE DESTINATION   (in the sandbox)
//        ditto_unwalled  -x -k ARCHIVE DESTINATION   (without)

#include "CarelessPolicy.h"
#include "ditto/Program.h"

int main(int argc, char *argv[])
{
    const auto confine = [](const brindle::Sandbox::Rules &rules) {
        if (BRINDLE_WALLS) {
            brindle::Sandbox::enter(rules);
        }
    };
    return brindle::Program::run(argc, argv, brindle::CarelessPolicy(), confine);
}

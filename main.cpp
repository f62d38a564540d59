#include "app/CommandLine.h"
#include "ui/Ui.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char *argv[])
{
    const int status = CommandLine::run(argc, argv, Ui::views());
    // A model may still be at work, or in memory: a step that nobody waits for any more holds on to
    // it. So nothing of what its thread and the library use is torn down, and nobody waits for
    // them.
    std::fflush(nullptr);
    std::_Exit(status);
}

#include "app/CommandLine.h"
#include "ui/Ui.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char *argv[])
{
    const int status = CommandLine::run(argc, argv, Ui::views());
    // The engine may still be generating or have a model in memory, because of an unfinished step.
    // So its thread is not waited for, and static objects that it and the library use are not
    // destroyed.
    std::fflush(nullptr);
    std::_Exit(status);
}

#include "app/CommandLine.h"
#include "ui/Ui.h"

int main(int argc, char *argv[])
{
    return CommandLine::run(argc, argv, Ui::views());
}

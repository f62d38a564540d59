#include "tests/support/TestModel.h"

#include <cstdio>
#include <exception>

// Writes a model file that gives the replies one after the other, to try the program manually.
int main(int argc, char **argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: make-test-model OUTPUT REPLY...\n");
        return 2;
    }
    QList<QByteArray> replies;
    for (int i = 2; i < argc; ++i)
        replies.append(argv[i]);
    try {
        TestModel::saying(replies).write(QString::fromLocal8Bit(argv[1]));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "make-test-model: %s\n", error.what());
        return 1;
    }
    return 0;
}

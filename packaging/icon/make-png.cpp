// Renders the icon in one size.
//   make-png quillon.svg PIXELS quillon.png

#include "packaging/icon/Drawing.h"

#include <QFile>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "minimal");
    const QGuiApplication application(argc, argv);
    const int pixels = argc == 4 ? QByteArray(argv[2]).toInt() : 0;
    if (pixels < 1) {
        std::fputs("make-png needs the drawing, a size and the file to write.\n", stderr);
        return EXIT_FAILURE;
    }
    QSvgRenderer drawing(QString::fromLocal8Bit(argv[1]));
    QFile file(QString::fromLocal8Bit(argv[3]));
    if (!drawing.isValid() || !file.open(QIODevice::WriteOnly)) {
        std::fputs("make-png cannot read the drawing or write the file.\n", stderr);
        return EXIT_FAILURE;
    }
    const QByteArray picture = Drawing::png(drawing, pixels);
    return file.write(picture) == picture.size() ? EXIT_SUCCESS : EXIT_FAILURE;
}

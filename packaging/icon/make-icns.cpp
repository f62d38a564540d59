// Renders the icon in all sizes that macOS uses and writes them to one .icns file.
//   make-icns quillon.svg Quillon.icns

#include "packaging/icon/Drawing.h"

#include <QFile>
#include <QGuiApplication>
#include <QtEndian>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {
struct Entry
{
    const char *type; ///< the system's code for a size in pixels
    int pixels;
};
constexpr std::array entries{Entry{"icp4", 16},  Entry{"icp5", 32},  Entry{"ic11", 32},
                             Entry{"ic12", 64},  Entry{"ic07", 128}, Entry{"ic08", 256},
                             Entry{"ic13", 256}, Entry{"ic09", 512}, Entry{"ic14", 512},
                             Entry{"ic10", 1024}};

QByteArray bigEndian(qsizetype number)
{
    QByteArray bytes(sizeof(quint32), Qt::Uninitialized);
    qToBigEndian(static_cast<quint32>(number), bytes.data());
    return bytes;
}

// A block consists of its type, its length including these eight bytes, and its content.
QByteArray block(const char *type, const QByteArray &content)
{
    constexpr int header = 8;
    return type + bigEndian(content.size() + header) + content;
}
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "minimal");
    const QGuiApplication application(argc, argv);
    if (argc != 3) {
        std::fputs("make-icns needs the drawing and the file to write.\n", stderr);
        return EXIT_FAILURE;
    }
    QSvgRenderer drawing(QString::fromLocal8Bit(argv[1]));
    QFile file(QString::fromLocal8Bit(argv[2]));
    if (!drawing.isValid() || !file.open(QIODevice::WriteOnly)) {
        std::fputs("make-icns cannot read the drawing or write the file.\n", stderr);
        return EXIT_FAILURE;
    }
    QByteArray blocks;
    for (const Entry &entry : entries)
        blocks += block(entry.type, Drawing::png(drawing, entry.pixels));
    const QByteArray icon = block("icns", blocks);
    return file.write(icon) == icon.size() ? EXIT_SUCCESS : EXIT_FAILURE;
}

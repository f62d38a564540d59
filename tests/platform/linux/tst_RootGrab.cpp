#include "platform/linux/screenshot/RootGrab.h"

#include <QByteArray>
#include <QTest>

class tst_RootGrab : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pixelsBecomeRedGreenAndBlue_data();
    void pixelsBecomeRedGreenAndBlue();
    void everyPixelOfARowIsRead();
    void halfAPixelIsNone();
};

namespace {
std::span<const uint8_t> bytes(const QByteArray &row)
{
    return {reinterpret_cast<const uint8_t *>(row.constData()), static_cast<size_t>(row.size())};
}

QByteArray converted(const PixelFormat &format, const QByteArray &row, qsizetype pixels)
{
    QByteArray rgb(3 * pixels, 'x');
    format.convert(bytes(row), reinterpret_cast<uint8_t *>(rgb.data()));
    return rgb;
}
} // namespace

void tst_RootGrab::pixelsBecomeRedGreenAndBlue_data()
{
    QTest::addColumn<uint>("size");
    QTest::addColumn<bool>("isBigEndian");
    QTest::addColumn<QList<uint>>("masks");
    QTest::addColumn<QByteArray>("pixel");
    QTest::addColumn<QByteArray>("rgb");
    const auto hex = [](const char *digits) { return QByteArray::fromHex(digits); };
    const QList<uint> usual{0xff0000, 0xff00, 0xff};
    QTest::newRow("BGRX") << 4U << false << usual << hex("332211ff") << hex("112233");
    QTest::newRow("XRGB") << 4U << true << usual << hex("ff112233") << hex("112233");
    QTest::newRow("RGBX") << 4U << false << QList<uint>{0xff, 0xff00, 0xff0000} << hex("11223300")
                          << hex("112233");
    QTest::newRow("BGR") << 3U << false << usual << hex("332211") << hex("112233");
    QTest::newRow("RGB") << 3U << true << usual << hex("112233") << hex("112233");
    const QList<uint> sixteen{0xf800, 0x7e0, 0x1f};
    QTest::newRow("16 bits, white") << 2U << false << sixteen << hex("ffff") << hex("ffffff");
    QTest::newRow("16 bits, red") << 2U << false << sixteen << hex("00f8") << hex("ff0000");
    QTest::newRow("16 bits, green") << 2U << true << sixteen << hex("07e0") << hex("00ff00");
    QTest::newRow("16 bits, half") << 2U << false << sixteen << hex("1084") << hex("848284");
    QTest::newRow("15 bits") << 2U << false << QList<uint>{0x7c00, 0x3e0, 0x1f} << hex("e003")
                             << hex("00ff00");
    const QList<uint> thirty{0x3ff00000, 0xffc00, 0x3ff};
    QTest::newRow("30 bits, white") << 4U << false << thirty << hex("ffffffff") << hex("ffffff");
    QTest::newRow("30 bits, red") << 4U << false << thirty << hex("0000f03f") << hex("ff0000");
    QTest::newRow("30 bits, half") << 4U << false << thirty << hex("00020820") << hex("808080");
    QTest::newRow("no blue at all")
        << 4U << false << QList<uint>{0xff0000, 0xff00, 0} << hex("332211ff") << hex("112200");
    QTest::newRow("all bits") << 4U << false << QList<uint>{0xff000000, 0xff00, 0xff}
                              << hex("332200ff") << hex("ff2233");
}

void tst_RootGrab::pixelsBecomeRedGreenAndBlue()
{
    QFETCH(const uint, size);
    QFETCH(const bool, isBigEndian);
    QFETCH(const QList<uint>, masks);
    QFETCH(const QByteArray, pixel);
    QFETCH(const QByteArray, rgb);
    const PixelFormat format(size, isBigEndian, {masks[0], masks[1], masks[2]});
    QCOMPARE(converted(format, pixel, 1).toHex(), rgb.toHex());
}

void tst_RootGrab::everyPixelOfARowIsRead()
{
    const PixelFormat format(4, false, {0xff0000, 0xff00, 0xff});
    QCOMPARE(converted(format, QByteArray::fromHex("010203000405060007080900"), 3).toHex(),
             QByteArray("030201060504090807"));
}

void tst_RootGrab::halfAPixelIsNone()
{
    const PixelFormat format(4, false, {0xff0000, 0xff00, 0xff});
    QCOMPARE(converted(format, QByteArray::fromHex("010203000405"), 2), QByteArray("\3\2\1xxx"));
}

QTEST_GUILESS_MAIN(tst_RootGrab)
#include "tst_RootGrab.moc"

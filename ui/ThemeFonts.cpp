#include "ui/ThemeFonts.h"

#include <QFontDatabase>

QString ThemeFonts::fixedFamily()
{
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

#include "app/Autostart.h"

#include "app/PanelProgram.h"
#include "platform/Instance.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {
[[noreturn]] void fail(const QFileDevice &file)
{
    throw PlatformError(u"“%1” could not be changed: %2."_s.arg(
        QDir::toNativeSeparators(file.fileName()), file.errorString()));
}
} // namespace

void Autostart::set(Switch to)
{
    const Instance::LoginItem item = Platform::current().instance().loginItem(
        QCoreApplication::applicationFilePath(),
        u"--"_s + QLatin1StringView(PanelProgram::backgroundOption));
    if (to == Switch::off) {
        QFile file(item.path);
        if (file.exists() && !file.remove())
            fail(file);
        return;
    }
    QDir().mkpath(QFileInfo(item.path).path());
    QSaveFile file(item.path);
    if (!file.open(QIODevice::WriteOnly) || file.write(item.content) != item.content.size() ||
        !file.commit())
        fail(file);
}

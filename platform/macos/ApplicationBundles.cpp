#include "platform/macos/ApplicationBundles.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {
const QString bundleSuffix = u".app"_s;

std::optional<QString> unlessEmpty(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

ActivationPolicy activationPolicy(long number)
{
    switch (number) {
    case 0:
        return ActivationPolicy::regular;
    case 1:
        return ActivationPolicy::accessory;
    default:
        return ActivationPolicy::background;
    }
}
} // namespace

QStringList ApplicationBundles::folders()
{
    return {u"/Applications"_s, u"/System/Applications"_s, u"/System/Applications/Utilities"_s,
            u"/Applications/Utilities"_s, QDir::homePath() + u"/Applications"_s};
}

QList<InstalledApplication> ApplicationBundles::in(const QString &folder)
{
    QList<InstalledApplication> applications;
    const QStringList entries = QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QString &entry : entries) {
        if (entry.endsWith(bundleSuffix))
            applications.append({{entry.chopped(bundleSuffix.size())}, folder + u'/' + entry});
    }
    return applications;
}

QString ApplicationBundles::name(const QString &location)
{
    return QFileInfo(QDir::cleanPath(location)).completeBaseName();
}

Application ApplicationBundles::running(qint64 pid, const QString &name, long policy,
                                        const QString &location)
{
    return {.pid = ProcessId{pid},
            .name = unlessEmpty(name),
            .policy = activationPolicy(policy),
            .location = unlessEmpty(location)};
}

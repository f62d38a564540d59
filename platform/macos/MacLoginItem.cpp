#include "platform/macos/MacInstance.h"

#include <QDir>

using namespace Qt::StringLiterals;

// Uses a launch agent, since the interface for login items is not in all supported SDKs. The name
// of the file and its label are the bundle's identifier.
Instance::LoginItem MacInstance::loginItem(const QString &program, const QString &argument) const
{
    const QString name = u"app.quillon.Quillon"_s;
    const QString content =
        u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n"
        "<dict>\n"
        "    <key>Label</key>\n"
        "    <string>%1</string>\n"
        "    <key>LimitLoadToSessionType</key>\n"
        "    <string>Aqua</string>\n"
        "    <key>ProcessType</key>\n"
        "    <string>Interactive</string>\n"
        "    <key>ProgramArguments</key>\n"
        "    <array>\n"
        "        <string>%2</string>\n"
        "        <string>%3</string>\n"
        "    </array>\n"
        "    <key>RunAtLoad</key>\n"
        "    <true/>\n"
        "</dict>\n"
        "</plist>\n"_s.arg(name, program.toHtmlEscaped(), argument.toHtmlEscaped());
    return {QDir::home().filePath(u"Library/LaunchAgents/%1.plist"_s.arg(name)), content.toUtf8()};
}

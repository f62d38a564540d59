#include "executor/Executor.h"

#include "agent/ActionError.h"
#include "executor/Actions.h"
#include "executor/Pause.h"
#include "platform/Platform.h"

#include <QCoro/QCoroFuture>
#include <QUrl>

#include <algorithm>

namespace {
using namespace Executor;

const QString schemeMark = QStringLiteral("://");

struct WebAddress
{
    QUrl url;
    QString host; ///< As it was written; the URL itself holds it in lower case.
};

// The host as it stands in the text of a valid address.
QString writtenHost(const QString &text)
{
    const QStringView rest = QStringView(text).sliced(text.indexOf(schemeMark) + schemeMark.size());
    const auto *const end = std::ranges::find_if(
        rest, [](QChar each) { return each == u'/' || each == u'?' || each == u'#'; });
    QStringView authority = rest.first(end - rest.begin());
    authority = authority.sliced(authority.lastIndexOf(u'@') + 1);
    const qsizetype port = authority.indexOf(u':');
    return (port < 0 ? authority : authority.first(port)).toString();
}

std::optional<WebAddress> parseAddress(const QString &text)
{
    const QString full =
        text.contains(schemeMark) ? text : QStringLiteral("https") + schemeMark + text;
    const QUrl url(full, QUrl::TolerantMode);
    if (!url.isValid() || url.host().isEmpty())
        return std::nullopt;
    const QString written = writtenHost(full);
    const bool same = written.compare(url.host(), Qt::CaseInsensitive) == 0;
    return WebAddress{url, same ? written : url.host()};
}
} // namespace

QCoro::Task<QString> Executor::openURL(QString text, std::optional<QString> app,
                                       Surrounding surrounding)
{
    const std::optional<WebAddress> address = parseAddress(text);
    if (!address)
        throw ActionError(u'“' + text + QStringLiteral("” isn't a valid address."));
    const QString opened = QStringLiteral("Opened ") + address->host + QStringLiteral(" in ");

    if (!app) {
        co_await Platform::current().workspace().open(address->url);
        co_await pause(pageSettle, surrounding);
        co_return opened + QStringLiteral("the default browser.");
    }

    const std::optional<QString> location = appURL(*app);
    if (!location)
        throw ActionError(QStringLiteral("Couldn't find an app called “") + *app +
                          QStringLiteral("”."));
    co_await Platform::current().workspace().open(address->url, *location);
    co_await pause(pageSettle, surrounding);
    co_return opened + Platform::current().workspace().displayName(*location) + u'.';
}

QCoro::Task<QString> Executor::Actions::openURL(AgentAction action, Surrounding surrounding)
{
    const QString url = required(action, "url", "Missing url.");
    co_return co_await Executor::openURL(url, optional(action, "app"), surrounding);
}

QCoro::Task<QString> Executor::Actions::webSearch(AgentAction action, Surrounding surrounding)
{
    const QString query = required(action, "query", "Missing query.");
    // Besides letters, digits and -._~, all that may stand in a query component as it is.
    const QByteArray encoded = QUrl::toPercentEncoding(query, "!$&'()*+,;=:@/?");
    const QString address =
        QStringLiteral("https://www.google.com/search?q=") + QString::fromLatin1(encoded);
    co_return co_await Executor::openURL(address, optional(action, "app"), surrounding);
}

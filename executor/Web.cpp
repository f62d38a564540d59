#include "executor/Executor.h"

#include "agent/action/ActionError.h"
#include "executor/Actions.h"
#include "executor/Pause.h"
#include "platform/Platform.h"

#include <QCoro/QCoroFuture>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
using namespace Executor;

const QString schemeMark = u"://"_s;

struct WebAddress
{
    QUrl url;
    QString host; ///< As it was written; QUrl has it in lower case.
};

// The host as it is written in a valid address.
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

// Not through addresses: some browsers open a local file whatever host its address has.
bool isFile(const QUrl &url)
{
    return url.scheme() == u"file";
}

// A program takes such an argument for an option; ssh would run a command.
bool looksLikeOption(const QUrl &url)
{
    return url.host(QUrl::FullyDecoded).startsWith(u'-') ||
           url.userName(QUrl::FullyDecoded).startsWith(u'-');
}

std::optional<WebAddress> parseAddress(const QString &text)
{
    const QString full = text.contains(schemeMark) ? text : u"https"_s + schemeMark + text;
    const QUrl url(full, QUrl::TolerantMode);
    if (!url.isValid() || url.host().isEmpty() || isFile(url) || looksLikeOption(url))
        return std::nullopt;
    const QString written = writtenHost(full);
    const bool same = written.compare(url.host(), Qt::CaseInsensitive) == 0;
    return WebAddress{url, same ? written : url.host()};
}
} // namespace

QCoro::Task<QString> Executor::openURL(QString text, std::optional<QString> app,
                                       CancellationToken cancellation)
{
    const std::optional<WebAddress> address = parseAddress(text);
    if (!address)
        throw ActionError(u'“' + text + u"” isn't a valid address."_s);
    const QString opened = u"Opened "_s + address->host + u" in "_s;

    if (!app) {
        co_await completion(Platform::current().workspace().open(address->url), cancellation);
        co_await pause(pageSettle, cancellation);
        co_return opened + u"the default browser."_s;
    }

    const QString location = Actions::requiredApp(*app);
    co_await completion(Platform::current().workspace().open(address->url, location), cancellation);
    co_await pause(pageSettle, cancellation);
    co_return opened + Platform::current().workspace().displayName(location) + u'.';
}

QCoro::Task<QString> Executor::Actions::openURL(AgentAction action, Context context)
{
    const QString url = required(action, "url", "Missing url.");
    co_return co_await Executor::openURL(url, optional(action, "app"), context.cancellation);
}

QCoro::Task<QString> Executor::Actions::webSearch(AgentAction action, Context context)
{
    const QString query = required(action, "query", "Missing query.");
    // The characters that need no encoding in a query, besides letters, digits and -._~.
    const QByteArray encoded = QUrl::toPercentEncoding(query, "!$&'()*+,;=:@/?");
    const QString address = u"https://www.google.com/search?q="_s + QString::fromLatin1(encoded);
    co_return co_await Executor::openURL(address, optional(action, "app"), context.cancellation);
}

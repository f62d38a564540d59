#include "models/Transfer.h"

#include "models/HttpReceiver.h"
#include "models/PartialFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QEventLoop>
#include <QScopeGuard>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

Transfer::Transfer(QUrl url, QString folder, std::chrono::milliseconds timeout)
    : m_url(std::move(url)), m_folder(std::move(folder)), m_timeout(timeout)
{
}

void Transfer::run(const OnProgress &onProgress)
{
    const auto over = qScopeGuard([this] {
        const std::scoped_lock guard(m_lock);
        m_over = true;
    });
    receiveAndPlace(onProgress);
}

void Transfer::receiveAndPlace(const OnProgress &onProgress)
{
    PartialFile::sweep(m_folder);
    PartialFile file;
    {
        QEventLoop loop;
        HttpReceiver receiver(m_folder, file, loop, [&onProgress](qint64 written, qint64 whole) {
            onProgress(fraction(written, whole));
        });
        {
            const std::scoped_lock guard(m_lock);
            if (m_cancelled)
                return;
            m_loop = &loop;
        }
        receiver.start(m_url, m_timeout);
        loop.exec();
        {
            const std::scoped_lock guard(m_lock);
            m_loop = nullptr;
            if (m_cancelled)
                return;
        }
        receiver.check();
    }
    // Before the move: otherwise a power cut could leave an empty file at the destination.
    file.flush();
    const std::scoped_lock guard(m_lock);
    if (!m_cancelled)
        file.moveTo(QDir(m_folder).filePath(fileName(m_url)));
}

void Transfer::cancel()
{
    const std::scoped_lock guard(m_lock);
    m_cancelled = true;
    if (m_loop)
        QCoreApplication::postEvent(m_loop, new QEvent(QEvent::Quit));
}

bool Transfer::isOver() const
{
    const std::scoped_lock guard(m_lock);
    return m_over;
}

QString Transfer::fileName(const QUrl &url)
{
    // Split before it is decoded, and without names such as "..": an address must not lead out of
    // the folder.
    QString path = url.path(QUrl::FullyEncoded);
    while (path.endsWith(u'/'))
        path.chop(1);
    const QString name = QUrl::fromPercentEncoding(path.mid(path.lastIndexOf(u'/') + 1).toLatin1());
    const bool isName = !name.isEmpty() && name != u"."_s && name != u".."_s &&
                        !name.contains(u'/') && !name.contains(QChar::Null);
    return isName ? name : u"model.gguf"_s;
}

double Transfer::fraction(qint64 received, qint64 whole)
{
    constexpr qint64 unknownWhole = 1'000'000'000;
    const qint64 expected = whole > 0 ? whole : unknownWhole;
    return std::min(static_cast<double>(received) / static_cast<double>(expected), 1.0);
}

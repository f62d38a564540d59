#include "ui/Announcement.h"

#include "ui/SessionViewModel.h"

#include <QAccessible>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {
// Lines that follow each other at once are read together: a new announcement interrupts the last.
constexpr std::chrono::milliseconds readTogether{50};
} // namespace

Announcement::Announcement(QQuickItem *parent) : QQuickItem(parent)
{
    m_pause.setSingleShot(true);
    m_pause.setInterval(readTogether);
    connect(&m_pause, &QTimer::timeout, this, &Announcement::announce);
}

void Announcement::setSession(SessionViewModel *session)
{
    m_session = session;
    connect(session, &SessionViewModel::lineWritten, this, [this](const QString &line) {
        m_lines << line;
        m_pause.start();
    });
}

void Announcement::announce()
{
    m_text = m_lines.join(u'\n');
    m_lines.clear();
    Q_EMIT textChanged();
    if (QAccessibleInterface *const element = QAccessible::queryAccessibleInterface(this))
        m_panel->announce(m_text, QAccessible::uniqueId(element));
}

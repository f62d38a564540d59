#pragma once

#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtSpiBus.h"
#include "platform/linux/atspi/AtSpiRole.h"
#include "platform/linux/atspi/DBus.h"

#include <QSet>

#include <chrono>
#include <memory>
#include <vector>

/// The interface of an application as it tells it over AT-SPI. Whatever that says is doubted: other
/// programs are on that bus, too.
class AtSpiTree final : public AccessibleTree
{
public:
    /// Throws a PlatformError where there is no bus. The peers have to outlive this.
    AtSpiTree(std::shared_ptr<PrivateBus> bus, AtSpiPeers &peers, ProcessId application,
              PrivateBus::Deadline deadline);

    QList<ElementId> roots() override;
    QList<AccessibleNode> nodes(const QList<ElementId> &elements, qsizetype maxChildren) override;
    QList<QStringList> texts(const QList<ElementId> &elements,
                             const QList<LabelAttribute> &attributes) override;
    QList<bool> areHidden(const QList<ElementId> &elements) override;
    bool mayKnowMore() override;
    std::optional<QString> silenceReason() override;
    bool isTimeUp() const override;
    bool press(ElementId element) override;

private:
    struct Element
    {
        DBusObject object{};
        std::optional<AtSpiRole> role{}; ///< Absent until it is read, or where it does not say.
        bool isRoot = false;
        bool liesInMenuBar = false;
    };

    /// The replies in the order of the calls; null where none came while there was time.
    std::vector<DBusMessagePtr> ask(std::vector<DBusMessagePtr> calls);
    [[nodiscard]] PrivateBus &busOf(const QByteArray &name) const;
    void connectToPeers(const QList<DBusObject> &roots);
    /// Somebody does not answer: ends all where it is the application.
    void giveUpOn(const QByteArray &name);
    /// Reads what the elements are, and tells how many children each has where that is wanted.
    std::vector<qsizetype> readRoles(const QList<ElementId> &elements, bool countsChildren);
    [[nodiscard]] static bool mayBeHidden(const Element &element);
    [[nodiscard]] ElementId add(const DBusObject &object);
    [[nodiscard]] Element &at(ElementId element);

    std::shared_ptr<PrivateBus> m_bus;
    AtSpiPeers &m_peers;
    ProcessId m_application;
    PrivateBus::Deadline m_deadline;
    const std::chrono::steady_clock::time_point m_opened = std::chrono::steady_clock::now();
    std::vector<Element> m_elements;
    int m_looksAgain = 3;                ///< How often it is worth while to look again.
    QSet<QByteArray> m_applicationNames; ///< The application's own connections.
    QSet<QByteArray> m_avoidedNames;     ///< Our own, which would wait for us, and hung helpers'.
};

#pragma once

#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtSpiBus.h"
#include "platform/linux/atspi/AtSpiRole.h"

#include <QSet>

#include <chrono>
#include <memory>
#include <vector>

/// The interface of an application over AT-SPI. All data is validated, since any program can be on
/// that bus.
class AtSpiTree final : public AccessibleTree
{
public:
    /// Throws a PlatformError if there is no bus. The peers must outlive this.
    AtSpiTree(std::shared_ptr<PrivateBus> bus, AtSpiPeers &peers, ProcessId application,
              PrivateBus::Deadline deadline);

    QList<ElementId> roots() override;
    QList<AccessibleNode> nodes(const QList<ElementId> &elements, qsizetype maxChildren) override;
    QList<QStringList> texts(const QList<ElementId> &elements,
                             const QList<LabelAttribute> &attributes) override;
    QList<Visibility> visibilities(const QList<ElementId> &elements) override;
    bool mayKnowMore() override;
    std::optional<QString> silenceReason() override;
    bool isTimeUp() const override;
    bool press(ElementId element) override;

private:
    struct Element
    {
        DBusObject object{};
        std::optional<AtSpiRole> role{}; ///< Absent until it is read, or if it is unknown.
        bool isRoot = false;
        bool isInMenuBar = false;
        bool isMenu = false; ///< The menu that the item of the same object opens.
    };

    /// The replies in the order of the calls; null for those that did not arrive in time.
    std::vector<DBusMessagePtr> ask(std::vector<DBusMessagePtr> calls);
    [[nodiscard]] PrivateBus &busOf(const QByteArray &name) const;
    void connectToPeers(const QList<DBusObject> &roots);
    /// Handles a connection that does not answer; throws if it is the application's.
    void giveUpOn(const QByteArray &name);
    /// Reads the roles of the elements and, if requested, the number of their children.
    std::vector<qsizetype> readRoles(const QList<ElementId> &elements, bool countsChildren);
    [[nodiscard]] static bool mayBeHidden(const Element &element);
    [[nodiscard]] bool isHidden(const DBusMessagePtr &states, const Element &element);
    [[nodiscard]] ElementId add(const DBusObject &object);
    /// On macOS and in Qt, there is a menu between a menu item and the items that it opens. Other
    /// toolkits omit it, so the items of closed menus would come before the controls of the window.
    [[nodiscard]] ElementId addMenuOf(ElementId item);
    [[nodiscard]] Element &at(ElementId element);

    std::shared_ptr<PrivateBus> m_bus;
    AtSpiPeers &m_peers;
    ProcessId m_application;
    PrivateBus::Deadline m_deadline;
    const std::chrono::steady_clock::time_point m_opened = std::chrono::steady_clock::now();
    std::vector<Element> m_elements;
    bool m_saysWhatShows = false;        ///< Of other elements than windows.
    int m_looksAgain = 3;                ///< How many more walks are worthwhile.
    QSet<QByteArray> m_applicationNames; ///< The application's own connections.
    QSet<QByteArray>
        m_avoidedNames; ///< Our own connections, which would deadlock, and those of hung helpers.
};

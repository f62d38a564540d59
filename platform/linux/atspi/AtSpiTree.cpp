#include "platform/linux/atspi/AtSpiTree.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/ChromiumProgram.h"
#include "platform/linux/desktop/LinuxProcesses.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <map>
#include <thread>

using namespace Qt::StringLiterals;

namespace {
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char *accessible = "org.a11y.atspi.Accessible";
constexpr const char *nothing = "/org/a11y/atspi/null";

// Of a list this long, only the needed children are queried: answering with all of them could take
// the application minutes.
constexpr qsizetype longList = 500;

// Much more than is shown of a field, but only a part of a book.
constexpr dbus_int32_t maxFieldText = 4096;

// Bits in the first word of an element's states.
constexpr quint32 showing = 1U << 25;
constexpr quint32 visible = 1U << 30;

[[noreturn]] void failWithoutBus()
{
    throw PlatformError(u"The accessibility bus doesn't respond."_s);
}

bool isGone(const DBusMessagePtr &reply)
{
    return DBusMessages::isError(reply, DBUS_ERROR_NO_REPLY) ||
           DBusMessages::isError(reply, DBUS_ERROR_SERVICE_UNKNOWN) ||
           DBusMessages::isError(reply, DBUS_ERROR_NAME_HAS_NO_OWNER);
}

Visibility visibility(const DBusMessagePtr &reply, std::optional<AtSpiRole> role)
{
    const std::optional<dbus_uint32_t> states = DBusMessages::firstUnsignedNumber(reply);
    if (!states || (*states & showing) != 0)
        return Visibility::shown;
    if ((*states & visible) == 0 || (role && AtSpiRoles::isWholePage(*role)))
        return Visibility::hidden;
    return Visibility::unclear;
}

// The extents that GTK reports for a control on a hidden page.
bool isNowhere(const DBusMessagePtr &extents)
{
    const auto area = DBusMessages::area(extents);
    if (!area)
        return false;
    const auto [x, y, width, height] = *area;
    constexpr dbus_int32_t none = std::numeric_limits<dbus_int32_t>::min();
    return x == none || y == none || (width == 0 && height == 0);
}

DBusMessagePtr askForExtents(const DBusObject &object)
{
    DBusMessagePtr call = DBusMessages::call(object, "org.a11y.atspi.Component", "GetExtents");
    DBusMessages::append(call, dbus_uint32_t{1}); // relative to the window
    return call;
}

DBusMessagePtr askForStates(const DBusObject &object)
{
    return DBusMessages::call(object, accessible, "GetState");
}

DBusMessagePtr askForChild(const DBusObject &object, dbus_int32_t index)
{
    DBusMessagePtr call = DBusMessages::call(object, accessible, "GetChildAtIndex");
    DBusMessages::append(call, index);
    return call;
}

DBusMessagePtr askForValue(const DBusObject &object, AtSpiRole role)
{
    if (!AtSpiRoles::showsText(role))
        return nullptr;
    DBusMessagePtr call = DBusMessages::call(object, "org.a11y.atspi.Text", "GetText");
    DBusMessages::append(call, 0);
    DBusMessages::append(call, maxFieldText);
    return call;
}

// Some applications pad the texts of a menu, for the shortcuts beside them. Until 4.10, GTK 4 gave
// an element without a name that of its class.
QString cleanedTitle(const QString &name)
{
    static const QRegularExpression className(u"^(Gtk|Adw)[A-Z][A-Za-z]*$"_s);
    return className.match(name).hasMatch() ? QString() : name.trimmed();
}

// Null if there is nothing to query.
DBusMessagePtr askFor(const DBusObject &object, AtSpiRole role, LabelAttribute attribute)
{
    switch (attribute) {
    case LabelAttribute::title:
        return DBusMessages::get(object, accessible, "Name");
    case LabelAttribute::description:
        return DBusMessages::get(object, accessible, "Description");
    case LabelAttribute::value:
        return askForValue(object, role);
    case LabelAttribute::help:
        return DBusMessages::get(object, accessible, "HelpText");
    }
    return nullptr;
}

constexpr const char *action = "org.a11y.atspi.Action";

// The toolkits' names for a click, in order of preference. Other actions set the focus, scroll or
// open the context menu.
constexpr auto clickNames = std::to_array<QStringView>(
    {u"click", u"press", u"activate", u"jump", u"toggle", u"check", u"uncheck", u"select",
     u"switch", u"open", u"showmenu", u"dodefault", u"expand or contract", u"clickancestor"});

// More actions than any element has.
constexpr dbus_int32_t maxActions = 32;

std::vector<DBusMessagePtr> ask(PrivateBus &bus, DBusMessagePtr call, PrivateBus::Deadline deadline)
{
    std::vector<DBusMessagePtr> calls;
    calls.push_back(std::move(call));
    return bus.callAll(calls, deadline);
}

DBusMessagePtr numbered(const DBusObject &element, const char *interface, const char *method,
                        dbus_int32_t number)
{
    DBusMessagePtr call = DBusMessages::call(element, interface, method);
    DBusMessages::append(call, number);
    return call;
}

std::optional<dbus_int32_t> clickAction(PrivateBus &bus, const DBusObject &element,
                                        PrivateBus::Deadline deadline)
{
    const std::vector<DBusMessagePtr> counted =
        ask(bus, DBusMessages::get(element, action, "NActions"), deadline);
    const dbus_int32_t count =
        std::min(DBusMessages::number(counted.front()).value_or(0), maxActions);
    std::vector<DBusMessagePtr> calls;
    calls.reserve(static_cast<size_t>(std::max(count, 0)));
    for (dbus_int32_t i = 0; i < count; ++i)
        calls.push_back(numbered(element, action, "GetName", i));
    QStringList names;
    for (const DBusMessagePtr &reply : bus.callAll(calls, deadline))
        names.append(QString::fromUtf8(DBusMessages::text(reply).value_or(QByteArray())).toLower());
    // In office suites, an element's only action has no name.
    if (names.size() == 1 && names.constFirst().isEmpty())
        return 0;
    for (const QStringView name : clickNames) {
        const auto found = std::ranges::find(names, name);
        if (found != names.end())
            return static_cast<dbus_int32_t>(found - names.begin());
    }
    return std::nullopt;
}

bool perform(PrivateBus &bus, const DBusObject &element, DBusMessagePtr call,
             PrivateBus::Deadline deadline)
{
    // Some toolkits answer only after everything that the click has caused is over, such as a
    // dialog. If the application answers a later query, it is still busy with that.
    std::vector<DBusMessagePtr> calls;
    calls.push_back(std::move(call));
    calls.push_back(DBusMessages::call(element.bus.constData(), "/org/a11y/atspi/accessible/root",
                                       accessible, "GetRole"));
    const std::vector<DBusMessagePtr> replies = bus.callUntilLast(calls, deadline);
    return replies[0] ? DBusMessages::boolean(replies[0]).value_or(false) : replies[1] != nullptr;
}

// Some tabs have no action, but their list has a selection.
bool selectTab(PrivateBus &bus, const DBusObject &tab, PrivateBus::Deadline deadline)
{
    std::vector<DBusMessagePtr> calls;
    calls.push_back(DBusMessages::get(tab, accessible, "Parent"));
    calls.push_back(DBusMessages::call(tab, accessible, "GetIndexInParent"));
    const std::vector<DBusMessagePtr> replies = bus.callAll(calls, deadline);
    const std::optional<DBusObject> list = DBusMessages::object(replies[0]);
    const std::optional<dbus_int32_t> index = DBusMessages::number(replies[1]);
    return list && index &&
           perform(bus, *list, numbered(*list, "org.a11y.atspi.Selection", "SelectChild", *index),
                   deadline);
}

// Performs the action of a click on an element; false if there is no such action, or if it refuses
// or does not answer by the deadline.
bool pressElement(PrivateBus &bus, const DBusObject &element, AtSpiRole role,
                  PrivateBus::Deadline deadline)
{
    // Browsers create the actions of their elements when they are queried for the first time. That
    // takes 50 to 100 ms, and longer on a busy machine.
    constexpr std::chrono::milliseconds lookInterval{100};
    std::optional<dbus_int32_t> index = clickAction(bus, element, deadline);
    for (int look = 0; look < 3 && !index; ++look) {
        std::this_thread::sleep_for(lookInterval);
        index = clickAction(bus, element, deadline);
    }
    if (index)
        return perform(bus, element, numbered(element, action, "DoAction", *index), deadline);
    return role == AtSpiRole::pageTab && selectTab(bus, element, deadline);
}
} // namespace

AtSpiTree::AtSpiTree(std::shared_ptr<PrivateBus> bus, AtSpiPeers &peers, ProcessId application,
                     PrivateBus::Deadline deadline)
    : m_bus(std::move(bus)), m_peers(peers), m_application(application), m_deadline(deadline)
{
    if (!m_bus)
        failWithoutBus();
}

QList<ElementId> AtSpiTree::roots()
{
    const std::optional<AtSpiBus::Listing> listing =
        AtSpiBus::find(*m_bus, m_application, ourProcesses(),
                       std::min(m_deadline, steady_clock::now() + silenceLimit));
    if (!listing)
        failWithoutBus();
    for (const DBusObject &own : listing->ourselves)
        m_avoidedNames.insert(own.bus);
    QList<ElementId> roots;
    for (const DBusObject &root : listing->application) {
        m_applicationNames.insert(root.bus);
        roots.append(add(root));
        at(roots.constLast()).isRoot = true;
    }
    connectToPeers(listing->application);
    return roots;
}

QList<AccessibleNode> AtSpiTree::nodes(const QList<ElementId> &elements, qsizetype maxChildren)
{
    const std::vector<qsizetype> counts = readRoles(elements, maxChildren > 0);
    // The position of the first reply about an element with children.
    struct Asked
    {
        qsizetype element = 0;
        size_t states = 0;
        size_t children = 0;
        size_t end = 0;
        bool isLong = false;
        bool opensMenu = false;
    };
    std::vector<Asked> asked;
    std::vector<DBusMessagePtr> calls;
    qsizetype longRoom = maxChildren;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        const Element &element = at(elements[i]);
        const qsizetype count = counts[static_cast<size_t>(i)];
        if (count <= 0)
            continue;
        Asked one{.element = i,
                  .states = calls.size(),
                  .isLong = count > longList,
                  .opensMenu = element.role == AtSpiRole::menu};
        if (one.opensMenu) {
            asked.push_back(one);
            continue;
        }
        if (mayBeHidden(element))
            calls.push_back(askForStates(element.object));
        one.children = calls.size();
        if (one.isLong) {
            for (qsizetype child = 0; child < count && longRoom > 0; ++child, --longRoom)
                calls.push_back(askForChild(element.object, static_cast<dbus_int32_t>(child)));
        } else {
            calls.push_back(DBusMessages::call(element.object, accessible, "GetChildren"));
        }
        one.end = calls.size();
        asked.push_back(one);
    }
    const std::vector<DBusMessagePtr> replies = ask(std::move(calls));

    QList<AccessibleNode> nodes(elements.size());
    for (qsizetype i = 0; i < elements.size(); ++i) {
        const Element &element = at(elements[i]);
        if (element.role)
            nodes[i].role = AtSpiRoles::axName(*element.role, element.isInMenuBar);
    }
    qsizetype room = maxChildren;
    for (const Asked &one : asked) {
        if (one.opensMenu) {
            if (room == 0)
                continue;
            nodes[one.element].children.append(addMenuOf(elements[one.element]));
            --room;
            continue;
        }
        if (one.states < one.children && isHidden(replies[one.states], at(elements[one.element])))
            continue;
        QList<DBusObject> children;
        if (!one.isLong)
            children = DBusMessages::objects(replies[one.children], room);
        for (size_t reply = one.children; one.isLong && reply < one.end; ++reply) {
            if (const std::optional<DBusObject> child = DBusMessages::object(replies[reply]))
                children.append(*child);
        }
        for (const DBusObject &object : std::as_const(children)) {
            if (room == 0)
                break;
            if (object.path == nothing || m_avoidedNames.contains(object.bus))
                continue;
            const ElementId child = add(object);
            at(child).isInMenuBar = at(elements[one.element]).role == AtSpiRole::menuBar;
            nodes[one.element].children.append(child);
            --room;
        }
    }
    return nodes;
}

QList<QStringList> AtSpiTree::texts(const QList<ElementId> &elements,
                                    const QList<LabelAttribute> &attributes)
{
    struct Asked
    {
        qsizetype element = 0;
        qsizetype attribute = 0;
    };
    std::vector<Asked> asked;
    std::vector<DBusMessagePtr> calls;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        const Element &element = at(elements[i]);
        for (qsizetype k = 0; k < attributes.size(); ++k) {
            DBusMessagePtr call =
                askFor(element.object, element.role.value_or(AtSpiRole::unknown), attributes[k]);
            if (!call)
                continue;
            asked.push_back({.element = i, .attribute = k});
            calls.push_back(std::move(call));
        }
    }
    const std::vector<DBusMessagePtr> replies = ask(std::move(calls));

    QList<QStringList> texts(elements.size(), QStringList(attributes.size()));
    for (size_t i = 0; i < asked.size(); ++i) {
        const QString text =
            QString::fromUtf8(DBusMessages::text(replies[i]).value_or(QByteArray()));
        const bool isTitle = attributes[asked[i].attribute] == LabelAttribute::title;
        texts[asked[i].element][asked[i].attribute] = isTitle ? cleanedTitle(text) : text;
    }
    return texts;
}

QList<Visibility> AtSpiTree::visibilities(const QList<ElementId> &elements)
{
    QList<qsizetype> asked;
    std::vector<DBusMessagePtr> calls;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        if (!mayBeHidden(at(elements[i])))
            continue;
        asked.append(i);
        calls.push_back(askForStates(at(elements[i]).object));
    }
    const std::vector<DBusMessagePtr> replies = ask(std::move(calls));
    QList<Visibility> visibilities(elements.size(), Visibility::shown);
    QList<qsizetype> doubtful;
    calls.clear();
    for (qsizetype i = 0; i < asked.size(); ++i) {
        const Element &element = at(elements[asked[i]]);
        Visibility &own = visibilities[asked[i]];
        own = visibility(replies[static_cast<size_t>(i)], element.role);
        if (own != Visibility::unclear)
            continue;
        doubtful.append(asked[i]);
        calls.push_back(askForExtents(element.object));
    }
    const std::vector<DBusMessagePtr> extents = ask(std::move(calls));
    for (qsizetype i = 0; i < doubtful.size(); ++i) {
        Visibility &own = visibilities[doubtful[i]];
        if (isNowhere(extents[static_cast<size_t>(i)]))
            own = Visibility::hidden;
        else if (!m_saysWhatShows)
            own = Visibility::shown; // GTK 4 says it of windows only, until 4.10.
    }
    return visibilities;
}

bool AtSpiTree::isHidden(const DBusMessagePtr &states, const Element &element)
{
    const bool isWindow = element.role && AtSpiRoles::isWindow(*element.role);
    if (!isWindow && (DBusMessages::firstUnsignedNumber(states).value_or(0) & showing) != 0)
        m_saysWhatShows = true;
    return visibility(states, element.role) == Visibility::hidden;
}

bool AtSpiTree::mayKnowMore()
{
    // A browser takes 50 to 100 ms for each new page, and longer on a busy machine.
    constexpr milliseconds lookInterval{100};
    // Another walk takes as long as everything before, and must be able to finish.
    const auto now = steady_clock::now();
    if (m_looksAgain == 0 || now + lookInterval + (now - m_opened) >= m_deadline)
        return false;
    --m_looksAgain;
    std::this_thread::sleep_for(lookInterval);
    return true;
}

std::optional<QString> AtSpiTree::silenceReason()
{
    if (!ChromiumProgram::isClosed(m_application))
        return std::nullopt;
    return u"shows no controls: quit it and let Quillon open it, or start it with "_s +
           ChromiumProgram::openingOption() + u'.';
}

bool AtSpiTree::isTimeUp() const
{
    return steady_clock::now() >= m_deadline;
}

bool AtSpiTree::press(ElementId element)
{
    const Element &pressed = at(element);
    return pressElement(*m_bus, pressed.object, pressed.role.value_or(AtSpiRole::unknown),
                        steady_clock::now() + silenceLimit);
}

void AtSpiTree::connectToPeers(const QList<DBusObject> &roots)
{
    QList<DBusObject> strangers;
    std::vector<DBusMessagePtr> calls;
    for (const DBusObject &root : roots) {
        if (m_peers.find(m_application, root.bus))
            continue;
        strangers.append(root);
        calls.push_back(
            DBusMessages::call(root, "org.a11y.atspi.Application", "GetApplicationBusAddress"));
    }
    const std::vector<DBusMessagePtr> addresses = ask(std::move(calls));
    for (size_t i = 0; i < addresses.size(); ++i)
        m_peers.connect(m_application, strangers[static_cast<qsizetype>(i)].bus,
                        DBusMessages::text(addresses[i]).value_or(QByteArray()), silenceLimit);
}

PrivateBus &AtSpiTree::busOf(const QByteArray &name) const
{
    const std::shared_ptr<PrivateBus> peer = m_peers.find(m_application, name);
    return peer ? *peer : *m_bus;
}

std::vector<DBusMessagePtr> AtSpiTree::ask(std::vector<DBusMessagePtr> calls)
{
    std::map<PrivateBus *, std::vector<size_t>> ways;
    for (size_t i = 0; i < calls.size(); ++i) {
        const QByteArray name = dbus_message_get_destination(calls[i].get());
        if (!m_avoidedNames.contains(name))
            ways[&busOf(name)].push_back(i);
    }
    std::vector<DBusMessagePtr> replies(calls.size());
    for (const auto &[bus, indices] : ways) {
        std::vector<DBusMessagePtr> sent;
        for (const size_t index : indices)
            sent.push_back(std::move(calls[index]));
        std::vector<DBusMessagePtr> answers = bus->callAll(sent, m_deadline, silenceLimit);
        if (!m_bus->isOpen())
            failWithoutBus();
        const bool wentSilent = !isTimeUp() || !bus->isOpen();
        for (size_t i = 0; i < sent.size(); ++i) {
            if (answers[i] ? isGone(answers[i]) : wentSilent)
                giveUpOn(dbus_message_get_destination(sent[i].get()));
            replies[indices[i]] = std::move(answers[i]);
        }
    }
    return replies;
}

void AtSpiTree::giveUpOn(const QByteArray &name)
{
    m_peers.drop(m_application, name);
    if (m_applicationNames.contains(name))
        throw UnresponsiveApplication();
    m_avoidedNames.insert(name);
}

std::vector<qsizetype> AtSpiTree::readRoles(const QList<ElementId> &elements, bool countsChildren)
{
    const size_t callsEach = countsChildren ? 2 : 1;
    std::vector<DBusMessagePtr> calls;
    for (const ElementId id : elements) {
        const DBusObject &object = at(id).object;
        calls.push_back(DBusMessages::call(object, accessible, "GetRole"));
        if (countsChildren)
            calls.push_back(DBusMessages::get(object, accessible, "ChildCount"));
    }
    const std::vector<DBusMessagePtr> replies = ask(std::move(calls));
    std::vector<qsizetype> counts;
    for (const ElementId id : elements) {
        const size_t reply = counts.size() * callsEach;
        const std::optional<dbus_uint32_t> role = DBusMessages::unsignedNumber(replies[reply]);
        if (role && !at(id).isMenu)
            at(id).role = AtSpiRole{*role};
        counts.push_back(countsChildren ? DBusMessages::number(replies[reply + 1]).value_or(0) : 0);
    }
    return counts;
}

bool AtSpiTree::mayBeHidden(const Element &element)
{
    return !element.isRoot && !(element.role && AtSpiRoles::isPartOfMenu(*element.role));
}

ElementId AtSpiTree::add(const DBusObject &object)
{
    m_elements.push_back({.object = object});
    return ElementId{static_cast<qint32>(m_elements.size() - 1)};
}

ElementId AtSpiTree::addMenuOf(ElementId item)
{
    m_elements.push_back({.object = at(item).object, .role = AtSpiRole::popupMenu, .isMenu = true});
    return ElementId{static_cast<qint32>(m_elements.size() - 1)};
}

AtSpiTree::Element &AtSpiTree::at(ElementId element)
{
    return m_elements.at(static_cast<size_t>(element));
}

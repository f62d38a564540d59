#include "platform/linux/atspi/AtSpiPress.h"

#include <QStringView>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace {
constexpr const char *accessible = "org.a11y.atspi.Accessible";
constexpr const char *action = "org.a11y.atspi.Action";

// What toolkits call a click, the plainest first. Some offer more: to set the focus, to scroll, to
// open the context menu.
constexpr auto clickNames = std::to_array<QStringView>(
    {u"click", u"press", u"activate", u"jump", u"toggle", u"check", u"uncheck", u"select",
     u"switch", u"open", u"showmenu", u"dodefault", u"expand or contract", u"clickancestor"});

// More than any element has, and no more than is asked for.
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
    // Office suites give the only thing that an element can do no name.
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
    // Some toolkits answer only once everything is over that the click has brought about, such as a
    // dialog. An application that answers the question behind the click is at that.
    std::vector<DBusMessagePtr> calls;
    calls.push_back(std::move(call));
    calls.push_back(DBusMessages::call(element.bus.constData(), "/org/a11y/atspi/accessible/root",
                                       accessible, "GetRole"));
    const std::vector<DBusMessagePtr> replies = bus.callUntilLast(calls, deadline);
    return replies[0] ? DBusMessages::boolean(replies[0]).value_or(false) : replies[1] != nullptr;
}

// Some tabs have no action, but the list that they lie in knows which one is selected.
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
} // namespace

bool AtSpiPress::press(PrivateBus &bus, const DBusObject &element, AtSpiRole role,
                       PrivateBus::Deadline deadline)
{
    // Browsers find out what their elements can do only when they are asked for the first time.
    // They take 50 to 100 ms, and longer on a busy machine.
    constexpr std::chrono::milliseconds patience{100};
    std::optional<dbus_int32_t> index = clickAction(bus, element, deadline);
    for (int look = 0; look < 3 && !index; ++look) {
        std::this_thread::sleep_for(patience);
        index = clickAction(bus, element, deadline);
    }
    if (index)
        return perform(bus, element, numbered(element, action, "DoAction", *index), deadline);
    return role == AtSpiRole::pageTab && selectTab(bus, element, deadline);
}

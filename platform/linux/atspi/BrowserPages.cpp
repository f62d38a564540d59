#include "platform/linux/atspi/BrowserPages.h"

#include "platform/linux/atspi/AtSpiBus.h"

#include <utility>

namespace {
constexpr const char *accessible = "org.a11y.atspi.Accessible";

// More windows than users open in one browser.
constexpr qsizetype maxWindows = 64;

// The relation between a window and the page in it.
constexpr dbus_uint32_t embeds = 13;

// Bits of the first word of an element's states.
constexpr dbus_uint32_t active = 1U << 1;
constexpr dbus_uint32_t busy = 1U << 3;

bool hasState(const DBusMessagePtr &states, dbus_uint32_t state)
{
    return (DBusMessages::firstUnsignedNumber(states).value_or(0) & state) != 0;
}

DBusMessagePtr askForAttribute(const DBusObject &document, const char *name)
{
    DBusMessagePtr call =
        DBusMessages::call(document, "org.a11y.atspi.Document", "GetAttributeValue");
    DBusMessages::append(call, name);
    return call;
}

// A page that is still loading is busy, or has no address yet.
bool isLoaded(PrivateBus &bus, const DBusObject &document, PrivateBus::Deadline deadline)
{
    std::vector<DBusMessagePtr> calls;
    calls.push_back(DBusMessages::call(document, accessible, "GetState"));
    for (const char *const name : {"DocURL", "URI"}) // Firefox, Chromium.
        calls.push_back(askForAttribute(document, name));
    const std::vector<DBusMessagePtr> replies = bus.callAll(calls, deadline);
    const auto address = [&](size_t reply) {
        return DBusMessages::text(replies[reply]).value_or(QByteArray());
    };
    const auto isAddress = [](const QByteArray &text) {
        return !text.isEmpty() && text != "about:blank";
    };
    return DBusMessages::isReturn(replies[0]) && !hasState(replies[0], busy) &&
           (isAddress(address(1)) || isAddress(address(2)));
}

QList<DBusObject> windowsOf(PrivateBus &bus, const QList<DBusObject> &roots,
                            PrivateBus::Deadline deadline)
{
    std::vector<DBusMessagePtr> calls;
    for (const DBusObject &root : roots)
        calls.push_back(DBusMessages::call(root, accessible, "GetChildren"));
    QList<DBusObject> windows;
    for (const DBusMessagePtr &reply : bus.callAll(calls, deadline))
        windows += DBusMessages::objects(reply, maxWindows - windows.size());
    return windows;
}
} // namespace

std::optional<BrowserPages> BrowserPages::of(ProcessId browser, PrivateBus::Deadline deadline)
{
    const std::shared_ptr<PrivateBus> bus = AtSpiBus::connect(deadline);
    const auto listing = bus ? AtSpiBus::find(*bus, browser, {}, deadline) : std::nullopt;
    if (!listing || listing->application.isEmpty())
        return std::nullopt;
    const QList<DBusObject> windows = windowsOf(*bus, listing->application, deadline);
    std::vector<DBusMessagePtr> calls;
    for (const DBusObject &window : windows) {
        calls.push_back(DBusMessages::call(window, accessible, "GetState"));
        calls.push_back(DBusMessages::call(window, accessible, "GetRelationSet"));
    }
    const std::vector<DBusMessagePtr> replies = bus->callAll(calls, deadline);
    BrowserPages pages;
    std::optional<DBusObject> front;
    for (size_t i = 0; i < replies.size(); i += 2) {
        const std::optional<DBusObject> page = DBusMessages::related(replies[i + 1], embeds);
        if (!page)
            continue;
        pages.shown.append(*page);
        if (hasState(replies[i], active))
            front = page;
    }
    // Chromium's first window does not say that it is active.
    if (!front && pages.shown.size() == 1)
        front = pages.shown.constFirst();
    if (front && isLoaded(*bus, *front, deadline))
        pages.loaded = front;
    return pages;
}

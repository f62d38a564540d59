// An application on the accessibility bus with an arbitrary tree and invalid answers:
// lying-application MANNER [ARGUMENT]. Prints a line once it is on the bus, and one for each
// action.

#include <dbus/dbus.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
constexpr const char *rootPath = "/org/a11y/atspi/accessible/root";
constexpr const char *registry = "org.a11y.atspi.Registry";

constexpr dbus_uint32_t applicationRole = 75;
constexpr dbus_uint32_t frameRole = 23;
constexpr dbus_uint32_t panelRole = 39;
constexpr dbus_uint32_t passwordRole = 40;
constexpr dbus_uint32_t buttonRole = 43;
constexpr dbus_uint32_t tabRole = 37;
constexpr dbus_uint32_t entryRole = 79;
constexpr dbus_uint32_t menuRole = 33;
constexpr dbus_uint32_t menuBarRole = 34;
constexpr dbus_uint32_t menuItemRole = 35;
constexpr dbus_uint32_t pageRole = 95;
constexpr double half = 0.5;
constexpr dbus_uint32_t visible = 1U << 30;
constexpr dbus_uint32_t shown = 1U << 25 | visible;

using Area = std::array<dbus_int32_t, 4>;

struct Control
{
    dbus_uint32_t role = panelRole;
    std::string name{};
    std::vector<std::string> children{};
    std::string bus{}; // its own bus name if empty
    dbus_uint32_t states = shown;
    std::string text{};
    std::vector<std::string> actions{"click"};
    Area extents{10, 10, 80, 20};
    bool isLazy = false; // Knows its name and its actions only when it is asked once more.
};

DBusConnection *connection = nullptr;
std::map<std::string, Control> controls;
std::map<std::string, int> lazyAnswers; // By control and property.
int callsLeft = -1;
std::function<void()> whenCallsAreOver;
bool liesAboutTypes = false;
int delay = 0;
std::string pressing; // "refuse", "dialog" or empty
std::string peerAddress;

Control &add(const std::string &parent, const std::string &path, const Control &control = {})
{
    controls[parent].children.push_back(path);
    return controls[path] = control;
}

void appendText(DBusMessageIter &at, const std::string &text, int type = DBUS_TYPE_STRING)
{
    const char *bytes = text.c_str();
    dbus_message_iter_append_basic(&at, type, static_cast<const void *>(&bytes));
}

void appendObject(DBusMessageIter &at, const std::string &path)
{
    const auto control = controls.find(path);
    const bool isForeign = control != controls.end() && !control->second.bus.empty();
    DBusMessageIter members;
    dbus_message_iter_open_container(&at, DBUS_TYPE_STRUCT, nullptr, &members);
    appendText(members, isForeign ? control->second.bus : dbus_bus_get_unique_name(connection));
    appendText(members, path, DBUS_TYPE_OBJECT_PATH);
    dbus_message_iter_close_container(&at, &members);
}

void appendVariant(DBusMessageIter &at, const char *type, const void *value)
{
    DBusMessageIter inner;
    dbus_message_iter_open_container(&at, DBUS_TYPE_VARIANT, type, &inner);
    dbus_message_iter_append_basic(&inner, type[0], value);
    dbus_message_iter_close_container(&at, &inner);
}

void appendArea(DBusMessageIter &at, const Area &area)
{
    DBusMessageIter members;
    dbus_message_iter_open_container(&at, DBUS_TYPE_STRUCT, nullptr, &members);
    for (const dbus_int32_t number : area)
        dbus_message_iter_append_basic(&members, DBUS_TYPE_INT32, &number);
    dbus_message_iter_close_container(&at, &members);
}

void appendProperty(DBusMessageIter &at, const Control &control, const std::string &name)
{
    const bool isKnown =
        !control.isLazy || name == "ChildCount" || lazyAnswers[control.name + name]++ > 0;
    const char *const text = name == "Name" && isKnown ? control.name.c_str() : "";
    const size_t actions = isKnown ? control.actions.size() : 0;
    const auto count =
        static_cast<dbus_int32_t>(name == "NActions" ? actions : control.children.size());
    if (name == "Parent") {
        DBusMessageIter inner;
        dbus_message_iter_open_container(&at, DBUS_TYPE_VARIANT, "(so)", &inner);
        appendObject(inner, rootPath);
        dbus_message_iter_close_container(&at, &inner);
    } else if (name == "ChildCount" || name == "NActions") {
        appendVariant(at, "i", &count);
    } else {
        appendVariant(at, "s", static_cast<const void *>(&text));
    }
}

void appendAnswer(DBusMessageIter &at, DBusMessage *call, const Control &control)
{
    const std::string member = dbus_message_get_member(call);
    const char *interface = nullptr;
    const char *property = nullptr;
    dbus_int32_t number = 0;
    dbus_message_get_args(call, nullptr, DBUS_TYPE_INT32, &number, DBUS_TYPE_INVALID);
    if (member == "Get" && dbus_message_get_args(call, nullptr, DBUS_TYPE_STRING, &interface,
                                                 DBUS_TYPE_STRING, &property, DBUS_TYPE_INVALID)) {
        appendProperty(at, control, property);
    } else if (member == "GetRole") {
        dbus_message_iter_append_basic(&at, DBUS_TYPE_UINT32, &control.role);
    } else if (member == "GetState") {
        const std::array<dbus_uint32_t, 2> words{control.states, 0};
        const dbus_uint32_t *first = words.data();
        DBusMessageIter list;
        dbus_message_iter_open_container(&at, DBUS_TYPE_ARRAY, "u", &list);
        dbus_message_iter_append_fixed_array(&list, DBUS_TYPE_UINT32,
                                             static_cast<const void *>(&first), int(words.size()));
        dbus_message_iter_close_container(&at, &list);
    } else if (member == "GetChildren") {
        DBusMessageIter list;
        dbus_message_iter_open_container(&at, DBUS_TYPE_ARRAY, "(so)", &list);
        for (const std::string &child : control.children)
            appendObject(list, child);
        dbus_message_iter_close_container(&at, &list);
    } else if (member == "GetExtents") {
        appendArea(at, control.extents);
    } else if (member == "GetChildAtIndex") {
        appendObject(at, control.children[static_cast<size_t>(number)]);
    } else if (member == "GetName") {
        appendText(at, control.actions[static_cast<size_t>(number)]);
    } else if (member == "GetApplicationBusAddress") {
        appendText(at, peerAddress);
    } else if (member == "GetText") {
        appendText(at, control.text);
    } else if (member == "GetIndexInParent") {
        dbus_message_iter_append_basic(&at, DBUS_TYPE_INT32, &number);
    } else if (member == "DoAction" || member == "SelectChild") {
        std::printf("%s %d of %s\n", member.c_str(), number, dbus_message_get_path(call));
        std::fflush(stdout);
        const dbus_bool_t success = pressing != "refuse";
        dbus_message_iter_append_basic(&at, DBUS_TYPE_BOOLEAN, &success);
    }
}

void answer(DBusMessage *call)
{
    const auto control = controls.find(dbus_message_get_path(call));
    DBusMessage *reply = nullptr;
    DBusMessageIter at;
    if (control == controls.end()) {
        reply = dbus_message_new_error(call, DBUS_ERROR_UNKNOWN_OBJECT, "It is gone.");
    } else {
        reply = dbus_message_new_method_return(call);
        dbus_message_iter_init_append(reply, &at);
        if (liesAboutTypes && dbus_message_get_path(call) != std::string(rootPath))
            appendVariant(at, "d", static_cast<const void *>(&half));
        else
            appendAnswer(at, call, control->second);
    }
    dbus_connection_send(connection, reply, nullptr);
    dbus_message_unref(reply);
}

void connect()
{
    DBusConnection *const session = dbus_bus_get(DBUS_BUS_SESSION, nullptr);
    DBusMessage *const question =
        dbus_message_new_method_call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress");
    DBusMessage *const reply =
        dbus_connection_send_with_reply_and_block(session, question, 20'000, nullptr);
    const char *address = nullptr;
    if (!reply ||
        !dbus_message_get_args(reply, nullptr, DBUS_TYPE_STRING, &address, DBUS_TYPE_INVALID))
        std::abort();
    connection = dbus_connection_open_private(address, nullptr);
    if (!connection || !dbus_bus_register(connection, nullptr))
        std::abort();
    dbus_connection_set_exit_on_disconnect(connection, 1);
}

void embed()
{
    DBusMessage *const call =
        dbus_message_new_method_call(registry, rootPath, "org.a11y.atspi.Socket", "Embed");
    DBusMessageIter at;
    dbus_message_iter_init_append(call, &at);
    appendObject(at, rootPath);
    dbus_connection_send(connection, call, nullptr);
    dbus_connection_flush(connection);
}

// The bus has a process.
void endBus()
{
    DBusMessage *const question = dbus_message_new_method_call(
        DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetConnectionUnixProcessID");
    const char *name = DBUS_SERVICE_DBUS;
    dbus_message_append_args(question, DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
    DBusMessage *const reply =
        dbus_connection_send_with_reply_and_block(connection, question, 20'000, nullptr);
    dbus_uint32_t process = 0;
    if (!reply ||
        !dbus_message_get_args(reply, nullptr, DBUS_TYPE_UINT32, &process, DBUS_TYPE_INVALID))
        std::abort();
    kill(static_cast<pid_t>(process), SIGKILL);
}

void addButtons(int count)
{
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        add("/window", "/button/" + number, {.role = buttonRole, .name = "Button " + number});
    }
}

void build(const std::string &manner, const std::string &argument)
{
    controls[rootPath].role = applicationRole;
    add(rootPath, "/window", {.role = frameRole, .name = "Window"});
    const auto afterCalls = [&](const std::function<void()> &action) {
        addButtons(400);
        callsLeft = std::atoi(argument.c_str());
        whenCallsAreOver = action;
    };
    if (manner == "honest") {
        addButtons(3);
    } else if (manner == "circle") {
        addButtons(1);
        controls["/window"].children.insert(controls["/window"].children.end(),
                                            {"/window", rootPath});
    } else if (manner == "many") {
        controls["/window"].children.assign(100'000, "/button/0");
        controls["/button/0"] = {.role = buttonRole, .name = "Button 0"};
        add(rootPath, "/last", {.role = buttonRole, .name = "last"});
    } else if (manner == "megabytes") {
        addButtons(20);
        for (int i = 0; i < 20; ++i)
            controls["/button/" + std::to_string(i)].name =
                std::to_string(i) + std::string(1 << 20, 'x');
    } else if (manner == "vanishing") {
        addButtons(6);
        for (const char *path : {"/button/1", "/button/2", "/button/4"})
            controls.erase(path);
    } else if (manner == "types") {
        addButtons(3);
        liesAboutTypes = true;
    } else if (manner == "names") {
        add("/window", "/a", {.role = buttonRole, .name = "a", .bus = "no bus name"});
        add("/window", "/b", {.role = buttonRole, .name = "b", .bus = ":1.424242"});
        add("/window", "/org/a11y/atspi/null", {.role = buttonRole, .name = "null"});
        addButtons(1);
    } else if (manner == "foreign") {
        add("/window", "/foreign", {.role = buttonRole, .name = "foreign", .bus = argument});
        addButtons(1);
    } else if (manner == "hidden") {
        add("/window", "/button", {.role = buttonRole, .name = "hidden", .states = 0});
        add("/window", "/panel", {.states = 0});
        add("/panel", "/panel/button", {.role = buttonRole, .name = "in a hidden panel"});
        add("/window", "/scrolled",
            {.role = buttonRole, .name = "scrolled away", .states = 1U << 30});
    } else if (manner == "pages") {
        // As GTK 3 and GTK 4 tell of what is on a page that is not in front.
        add("/window", "/gtk3",
            {.role = buttonRole,
             .name = "behind",
             .states = visible,
             .extents = {INT_MIN, INT_MIN, 80, 20}});
        add("/window", "/gtk4",
            {.role = buttonRole, .name = "behind", .states = visible, .extents = {0, 0, 0, 0}});
        add("/window", "/scrolled",
            {.role = buttonRole,
             .name = "scrolled away",
             .states = visible,
             .extents = {10, 3000, 80, 20}});
    } else if (manner == "tabs") {
        // As Firefox tells of a tab in the background.
        add("/window", "/behind", {.role = pageRole, .states = visible});
        add("/behind", "/behind/buy", {.role = buttonRole, .name = "Buy now", .states = visible});
        add("/behind", "/behind/other", {.role = buttonRole, .name = "behind", .states = visible});
        add("/window", "/front", {.role = pageRole});
        add("/front", "/front/buy", {.role = buttonRole, .name = "Buy now"});
    } else if (manner == "unclear") {
        add("/window", "/unclear", {.role = buttonRole, .name = "Buy now", .states = visible});
        add("/window", "/panel");
        add("/panel", "/clear", {.role = buttonRole, .name = "Buy now"});
    } else if (manner == "never") {
        // As GTK 4 before 4.10, which says only of windows that they show.
        add("/window", "/first", {.role = buttonRole, .name = "Buy now", .states = visible});
        add("/window", "/panel", {.states = visible});
        add("/panel", "/second", {.role = buttonRole, .name = "Buy now", .states = visible});
    } else if (manner == "lazy") {
        add("/window", "/lazy", {.role = buttonRole, .name = "Buy now", .isLazy = true});
    } else if (manner == "menus") {
        add("/window", "/bar", {.role = menuBarRole});
        add("/bar", "/file", {.role = menuRole, .name = "File"});
        add("/file", "/save", {.role = menuItemRole, .name = "Save as"});
        add("/file", "/recent", {.role = menuRole, .name = "Recent"});
        add("/recent", "/letter", {.role = menuItemRole, .name = "Letter"});
        add("/window", "/panel");
        add("/panel", "/tools");
        add("/tools", "/send", {.role = buttonRole, .name = "Send"});
    } else if (manner == "fields") {
        add("/window", "/entry", {.role = entryRole, .text = "what was typed"});
        add("/window", "/password", {.role = passwordRole, .text = "secret"});
        add("/window", "/named", {.role = passwordRole, .name = "Your password", .text = "secret"});
    } else if (manner == "actions") {
        add("/window", "/focus",
            {.role = buttonRole, .name = "focus", .actions = {"SetFocus", "scroll"}});
        add("/window", "/second",
            {.role = buttonRole, .name = "second", .actions = {"SetFocus", "Press"}});
        add("/window", "/none", {.role = buttonRole, .name = "none", .actions = {}});
        add("/window", "/sole", {.role = buttonRole, .name = "sole", .actions = {""}});
        add("/window", "/both", {.role = buttonRole, .name = "both", .actions = {"", ""}});
        add("/window", "/tab", {.role = tabRole, .name = "tab", .actions = {}});
    } else if (manner == "refuse" || manner == "dialog") {
        addButtons(1);
        pressing = manner;
    } else if (manner == "address") {
        addButtons(1);
        peerAddress = argument;
    } else if (manner == "slow") {
        addButtons(400);
        delay = 20'000;
    } else if (manner == "silent") {
        afterCalls([] {
            while (true)
                pause();
        });
    } else if (manner == "stops") {
        afterCalls([] { raise(SIGSTOP); });
    } else if (manner == "dies") {
        afterCalls([] { _exit(0); });
    } else if (manner == "ends-the-bus") {
        afterCalls(&endBus);
    } else {
        std::abort();
    }
}
} // namespace

int main(int argc, char **argv)
{
    build(argc > 1 ? argv[1] : "", argc > 2 ? argv[2] : "");
    connect();
    embed();
    // The registry's answer: the application is registered now.
    bool isKnown = false;
    while (dbus_connection_read_write(connection, -1)) {
        while (DBusMessage *const message = dbus_connection_pop_message(connection)) {
            const int type = dbus_message_get_type(message);
            if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN && !isKnown) {
                isKnown = true;
                std::puts("known");
                std::fflush(stdout);
            }
            // Messages of others on the bus are ignored.
            const bool isOurs =
                type == DBUS_MESSAGE_TYPE_METHOD_CALL && isKnown &&
                !dbus_message_is_method_call(message, "org.a11y.atspi.Socket", "Embedded");
            if (isOurs && callsLeft-- == 0)
                whenCallsAreOver();
            usleep(static_cast<useconds_t>(isOurs ? delay : 0));
            const bool isPress = isOurs && dbus_message_has_member(message, "DoAction");
            if (type == DBUS_MESSAGE_TYPE_METHOD_CALL && !(isPress && pressing == "dialog"))
                answer(message);
            dbus_message_unref(message);
        }
    }
}

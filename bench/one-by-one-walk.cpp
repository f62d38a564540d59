// The walk of a click on a label that does not exist, in its simplest form: one element and one
// query after the other, with libatspi. Prints the controls that it visited and, last, the time in
// milliseconds. A process of its own, because the library caches.

#include "Measure.h"
#include "platform/Workspace.h"
#include "platform/linux/atspi/AtSpiRole.h"
#include "platform/linux/desktop/GObjectPtr.h"

#include <QStringList>

// The headers use a name that is a macro of Qt.
#undef signals
#include <atspi/atspi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <stdexcept>

namespace {
struct GFree
{
    void operator()(void *memory) const { g_free(memory); }
};
using Text = std::unique_ptr<char, GFree>;
using Accessible = GObjectPtr<AtspiAccessible>;

struct Queued
{
    Accessible element;
    int depth = 0;
    bool liesInMenuBar = false;
};

constexpr int elementLimit = 3000;
constexpr int depthLimit = 12;
constexpr auto roles =
    std::to_array<QStringView>({u"AXButton", u"AXMenuItem", u"AXMenuBarItem", u"AXRadioButton",
                                u"AXCheckBox", u"AXLink", u"AXTab", u"AXPopUpButton"});

Accessible find(ProcessId application)
{
    const Accessible desktop(atspi_get_desktop(0));
    const int count = atspi_accessible_get_child_count(desktop.get(), nullptr);
    for (int i = 0; i < count; ++i) {
        Accessible child(atspi_accessible_get_child_at_index(desktop.get(), i, nullptr));
        if (child &&
            ProcessId{atspi_accessible_get_process_id(child.get(), nullptr)} == application)
            return child;
    }
    throw std::runtime_error("The application is not on the accessibility bus.");
}

QString content(AtspiAccessible *element)
{
    const GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(element));
    return text ? QString::fromUtf8(Text(atspi_text_get_text(text.get(), 0, 4096, nullptr)).get())
                : QString();
}

// The first non-empty text. This version of the library has no help text.
QString label(AtspiAccessible *element, AtSpiRole role)
{
    const QStringList texts{
        QString::fromUtf8(Text(atspi_accessible_get_name(element, nullptr)).get()),
        QString::fromUtf8(Text(atspi_accessible_get_description(element, nullptr)).get()),
        AtSpiRoles::showsText(role) ? content(element) : QString()};
    const auto first = std::ranges::find_if_not(texts, &QString::isEmpty);
    return first == texts.end() ? QString() : *first;
}

QStringList walk(ProcessId application)
{
    QStringList controls;
    std::deque<Queued> queue;
    queue.push_back({.element = find(application)});
    for (int left = elementLimit; left > 0 && !queue.empty(); --left) {
        const Queued now = std::move(queue.front());
        queue.pop_front();
        AtspiAccessible *const element = now.element.get();
        // Without the cache, which some toolkits fill in bulk.
        atspi_accessible_clear_cache(element);
        const auto role = static_cast<AtSpiRole>(atspi_accessible_get_role(element, nullptr));
        const QString name = AtSpiRoles::axName(role, now.liesInMenuBar);
        const int count =
            now.depth < depthLimit ? atspi_accessible_get_child_count(element, nullptr) : 0;
        for (int i = 0; i < count; ++i) {
            if (Accessible child{atspi_accessible_get_child_at_index(element, i, nullptr)})
                queue.push_back({std::move(child), now.depth + 1, role == AtSpiRole::menuBar});
        }
        if (std::ranges::find(roles, QStringView(name)) != roles.end())
            controls.append(name + u' ' + label(element, role));
    }
    return controls;
}
} // namespace

int main(int argc, char **argv)
{
    if (argc != 2 || atspi_init() != 0)
        return EXIT_FAILURE;
    try {
        const Measure::Stopwatch watch;
        const QStringList controls = walk(ProcessId{std::atoi(argv[1])});
        const double milliseconds = watch.seconds() * 1e3;
        std::printf("%s\n%f\n", qPrintable(controls.join(u'\n')), milliseconds);
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}

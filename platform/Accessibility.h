#pragma once

#include "base/ProcessId.h"

#include <QList>
#include <QString>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>

/// An element of an application's interface; valid for the tree that returned it. One element may
/// have several ids.
enum class ElementId : qint32 {};

/// The role and the children of an element.
struct AccessibleNode
{
    QString role; ///< "AXButton" and so on, on every system; empty if unknown.
    QList<ElementId> children{};

    bool operator==(const AccessibleNode &) const = default;
};

/// The texts of an element that may serve as its label.
enum class LabelAttribute { title, description, value, help };

/// Whether the user can see an element.
enum class Visibility {
    shown,
    unclear, ///< The application does not tell: it may be scrolled out of view, or hidden.
    hidden,  ///< For example on a page of a tab widget or in a browser tab that is not in front.
};

/// The application has not answered for longer than silenceLimit, or has ended.
class UnresponsiveApplication final : public std::exception
{
public:
    [[nodiscard]] const char *what() const noexcept override { return "It doesn't respond."; }
};

/// The interface of one application, used for one action. Each method except isTimeUp() throws
/// UnresponsiveApplication, or a PlatformError if the system's service fails. They block, but not
/// beyond the time limit with which the tree was opened.
class AccessibleTree
{
public:
    virtual ~AccessibleTree() = default;

    /// Timeout for one answer of the application, whether it is busy or has hung.
    static constexpr std::chrono::milliseconds silenceLimit{700};

    /// The application's element: usually one, none if it exposes no interface.
    [[nodiscard]] virtual QList<ElementId> roots() = 0;

    /// The roles and children of these elements, in their order, with at most maxChildren children
    /// in total: those of the first elements. If it is zero, children are not queried. An element
    /// that no longer exists, or for which the time was up, has no role and no children. The same
    /// holds for what the user cannot see, such as a closed dialog, except for menus.
    [[nodiscard]] virtual QList<AccessibleNode> nodes(const QList<ElementId> &elements,
                                                      qsizetype maxChildren) = 0;

    /// The given texts of each of these elements, which must have been passed to nodes() before. A
    /// text that is missing or has another type is empty, as is the content of a password field.
    [[nodiscard]] virtual QList<QStringList> texts(const QList<ElementId> &elements,
                                                   const QList<LabelAttribute> &attributes) = 0;

    /// Whether the user can see each of these elements. Elements that are only scrolled out of view
    /// are not hidden, and menus count as shown.
    [[nodiscard]] virtual QList<Visibility> visibilities(const QList<ElementId> &elements) = 0;

    /// Some applications create the elements of a page only when they are queried for the first
    /// time. Waits for a moment and returns true, a few times, if the walk should be repeated.
    [[nodiscard]] virtual bool mayKnowMore() { return false; }

    /// One sentence on why the application exposes no interface and what to do about it; nothing if
    /// that is unknown.
    [[nodiscard]] virtual std::optional<QString> silenceReason() { return std::nullopt; }

    /// Whether the time limit of the tree has passed.
    [[nodiscard]] virtual bool isTimeUp() const = 0;

    /// Presses a control; false if it refuses. May exceed the time limit by up to two
    /// silenceLimits.
    [[nodiscard]] virtual bool press(ElementId element) = 0;
};

/// The system's accessibility interface, which exposes the controls of applications. Main thread
/// only.
class Accessibility
{
public:
    virtual ~Accessibility() = default;

    /// Whether this process may read and control other applications. Cheap; returns after a timeout
    /// if the system does not answer.
    [[nodiscard]] virtual bool isTrusted() = 0;

    /// Requests that permission from the system or the user, who may grant it later or never.
    virtual void requestTrust() = 0;

    /// Opens the interface of another application, to be used within that time. Throws a
    /// PlatformError if the system's service does not answer.
    [[nodiscard]] virtual std::unique_ptr<AccessibleTree> open(ProcessId application,
                                                               std::chrono::milliseconds limit) = 0;
};

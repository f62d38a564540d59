#pragma once

#include "base/ProcessId.h"

#include <QList>
#include <QString>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>

/// One element of an application's interface, as the tree names it that gave it out. The same
/// element may have several of these.
enum class ElementId : qint32 {};

/// What an element is, and what lies in it.
struct AccessibleNode
{
    QString role; ///< "AXButton" and so on, on every system; empty where it does not say.
    QList<ElementId> children{};

    bool operator==(const AccessibleNode &) const = default;
};

/// The texts of an element that may serve as its label.
enum class LabelAttribute { title, description, value, help };

/// An application that answers nothing for longer than silenceLimit, or no longer runs.
class UnresponsiveApplication final : public std::exception
{
public:
    [[nodiscard]] const char *what() const noexcept override { return "It doesn't respond."; }
};

/// The interface of one application, for as long as one action looks at it.
/// Each method but isTimeUp throws UnresponsiveApplication, and a PlatformError when the system's
/// own service fails. They block, but not past the time that the tree was opened with.
class AccessibleTree
{
public:
    virtual ~AccessibleTree() = default;

    /// How long an application may be silent, in the middle of its work or hung for good.
    static constexpr std::chrono::milliseconds silenceLimit{700};

    /// The application itself: mostly one element, none where it shows itself to nobody.
    [[nodiscard]] virtual QList<ElementId> roots() = 0;

    /// What these elements are, in their order, with at most maxChildren children of all of them
    /// together: those of the first ones. With none wanted, the application is not asked for them.
    /// An element that is gone has no role and no children, just as one that time was up for. What
    /// the user cannot see has none either, a closed dialog for example, apart from menus.
    [[nodiscard]] virtual QList<AccessibleNode> nodes(const QList<ElementId> &elements,
                                                      qsizetype maxChildren) = 0;

    /// Of each of these elements, of which nodes() has told what they are, those texts in that
    /// order. One that is missing or no text is empty, and so is the content of a password field.
    [[nodiscard]] virtual QList<QStringList> texts(const QList<ElementId> &elements,
                                                   const QList<LabelAttribute> &attributes) = 0;

    /// Which of these elements the user cannot see, because they are put away: on a page of a
    /// notebook or a tab of a browser that is not in front, for example. What is merely scrolled
    /// away is none of them, and menus do not count.
    [[nodiscard]] virtual QList<bool> areHidden(const QList<ElementId> &elements) = 0;

    /// Some applications find out about the elements of a page only when they are asked for the
    /// first time. This waits for a moment and is true, a few times: look again.
    [[nodiscard]] virtual bool mayKnowMore() { return false; }

    /// Why the application shows nothing of itself and what to do about it, in one sentence;
    /// nothing when that is not known.
    [[nodiscard]] virtual std::optional<QString> silenceReason() { return std::nullopt; }

    /// Whether the time has passed that the tree was opened with.
    [[nodiscard]] virtual bool isTimeUp() const = 0;

    /// Presses a control; false where it refuses. It may take the silenceLimit once more, or twice.
    [[nodiscard]] virtual bool press(ElementId element) = 0;
};

/// The system's accessibility interface, over which applications show and press their controls.
/// Main thread only.
class Accessibility
{
public:
    virtual ~Accessibility() = default;

    /// Whether we may look at other applications and control them. Cheap, and bounded where the
    /// system does not answer.
    [[nodiscard]] virtual bool isTrusted() = 0;

    /// Asks the system, or through it the user, for that permission. It may come later, or never.
    virtual void requestTrust() = 0;

    /// Opens the interface of another application, to be looked at for that long. Throws a
    /// PlatformError when the system's own service does not answer.
    [[nodiscard]] virtual std::unique_ptr<AccessibleTree> open(ProcessId application,
                                                               std::chrono::milliseconds limit) = 0;
};

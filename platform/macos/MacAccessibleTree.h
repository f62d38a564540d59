#pragma once

#include "platform/Accessibility.h"
#include "platform/macos/CFOwner.h"

#include <ApplicationServices/ApplicationServices.h>

#include <QSet>

#include <chrono>
#include <initializer_list>
#include <vector>

/// The interface of an application. One message returns several attributes of an element; the
/// system has no message for several elements.
class MacAccessibleTree final : public AccessibleTree
{
public:
    using Deadline = std::chrono::steady_clock::time_point;

    MacAccessibleTree(ProcessId application, Deadline deadline);

    QList<ElementId> roots() override;
    QList<AccessibleNode> nodes(const QList<ElementId> &elements, qsizetype maxChildren) override;
    QList<QStringList> texts(const QList<ElementId> &elements,
                             const QList<LabelAttribute> &attributes) override;
    QList<Visibility> visibilities(const QList<ElementId> &elements) override;
    bool isTimeUp() const override;
    bool press(ElementId element) override;

    /// Enables the accessibility of an application. Those that are built from web pages have no
    /// elements until then, and for some time after.
    void awaken();

private:
    [[nodiscard]] AXUIElementRef at(ElementId element) const;
    /// The values of these attributes, of any type; null if there is no answer.
    [[nodiscard]] CFOwner<CFArrayRef> values(ElementId element, CFArrayRef names);
    [[nodiscard]] QList<ElementId> children(CFTypeRef value, qsizetype most);

    std::vector<CFOwner<AXUIElementRef>> m_elements; ///< The first one is the application.
    Deadline m_deadline;
    QSet<pid_t> m_hungHelpers;
};

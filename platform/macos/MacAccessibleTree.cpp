#include "platform/macos/MacAccessibleTree.h"

#include "platform/macos/CFText.h"

namespace {
CFOwner<CFArrayRef> arrayOf(const QList<CFStringRef> &names)
{
    QList<const void *> items(names.begin(), names.end());
    return CFOwner<CFArrayRef>(
        CFArrayCreate(kCFAllocatorDefault, items.data(), items.size(), &kCFTypeArrayCallBacks));
}

// Owned by the array; null if the index is out of range.
CFTypeRef item(const CFOwner<CFArrayRef> &array, CFIndex index)
{
    return array && index < CFArrayGetCount(array.get())
               ? CFArrayGetValueAtIndex(array.get(), index)
               : nullptr;
}

CFStringRef nameOf(LabelAttribute attribute)
{
    switch (attribute) {
    case LabelAttribute::title:
        return kAXTitleAttribute;
    case LabelAttribute::description:
        return kAXDescriptionAttribute;
    case LabelAttribute::value:
        return kAXValueAttribute;
    case LabelAttribute::help:
        return kAXHelpAttribute;
    }
    return kAXTitleAttribute;
}

pid_t processOf(AXUIElementRef element)
{
    pid_t process = 0;
    return AXUIElementGetPid(element, &process) == kAXErrorSuccess ? process : 0;
}
} // namespace

MacAccessibleTree::MacAccessibleTree(ProcessId application, Deadline deadline)
    : m_deadline(deadline)
{
    // For all elements of this process: the default timeout of several seconds is too long.
    const CFOwner<AXUIElementRef> everything(AXUIElementCreateSystemWide());
    (void)AXUIElementSetMessagingTimeout(everything.get(),
                                         std::chrono::duration<float>(silenceLimit).count());
    m_elements.emplace_back(AXUIElementCreateApplication(static_cast<pid_t>(application)));
}

QList<ElementId> MacAccessibleTree::roots()
{
    return {ElementId{0}};
}

QList<AccessibleNode> MacAccessibleTree::nodes(const QList<ElementId> &elements,
                                               qsizetype maxChildren)
{
    const CFOwner<CFArrayRef> names =
        arrayOf(maxChildren > 0 ? QList<CFStringRef>{kAXRoleAttribute, kAXChildrenAttribute}
                                : QList<CFStringRef>{kAXRoleAttribute});
    QList<AccessibleNode> nodes;
    for (const ElementId element : elements) {
        const CFOwner<CFArrayRef> found = values(element, names.get());
        nodes.append({.role = textOf(item(found, 0)).value_or(QString()),
                      .children = children(item(found, 1), maxChildren)});
        maxChildren -= nodes.constLast().children.size();
    }
    return nodes;
}

QList<QStringList> MacAccessibleTree::texts(const QList<ElementId> &elements,
                                            const QList<LabelAttribute> &attributes)
{
    // A password field exposes only dots, but it is not read in any case.
    QList<CFStringRef> asked{kAXSubroleAttribute};
    for (const LabelAttribute attribute : attributes)
        asked.append(nameOf(attribute));
    const CFOwner<CFArrayRef> names = arrayOf(asked);
    QList<QStringList> texts;
    for (const ElementId element : elements) {
        const CFOwner<CFArrayRef> found = values(element, names.get());
        const bool isSecret = textOf(item(found, 0)) == textOf(kAXSecureTextFieldSubrole);
        QStringList &own = texts.emplace_back();
        for (const LabelAttribute attribute : attributes) {
            const std::optional<QString> text = textOf(item(found, own.size() + 1));
            own.append(isSecret && attribute == LabelAttribute::value ? QString()
                                                                      : text.value_or(QString()));
        }
    }
    return texts;
}

QList<Visibility> MacAccessibleTree::visibilities(const QList<ElementId> &elements)
{
    // On this system, hidden elements are not among the children of others.
    QList<Visibility> all(elements.size(), Visibility::shown);
    return all;
}

bool MacAccessibleTree::isTimeUp() const
{
    return std::chrono::steady_clock::now() >= m_deadline;
}

bool MacAccessibleTree::press(ElementId element)
{
    return AXUIElementPerformAction(at(element), kAXPressAction) == kAXErrorSuccess;
}

void MacAccessibleTree::awaken()
{
    // The first attribute is Electron's own, unknown to AppKit applications. Chrome reacts to the
    // second, which VoiceOver sets; it is harmless for other applications.
    if (AXUIElementSetAttributeValue(at(ElementId{0}), CFSTR("AXManualAccessibility"),
                                     kCFBooleanTrue) == kAXErrorAttributeUnsupported)
        (void)AXUIElementSetAttributeValue(at(ElementId{0}), CFSTR("AXEnhancedUserInterface"),
                                           kCFBooleanTrue);
}

AXUIElementRef MacAccessibleTree::at(ElementId element) const
{
    return m_elements.at(static_cast<size_t>(element)).get();
}

CFOwner<CFArrayRef> MacAccessibleTree::values(ElementId element, CFArrayRef names)
{
    const AXUIElementRef asked = at(element);
    if (isTimeUp() || (!m_hungHelpers.isEmpty() && m_hungHelpers.contains(processOf(asked))))
        return nullptr;
    CFArrayRef found = nullptr;
    const AXError error = AXUIElementCopyMultipleAttributeValues(asked, names, 0, &found);
    CFOwner<CFArrayRef> owned(found);
    if (error == kAXErrorSuccess)
        return owned;
    if (error == kAXErrorCannotComplete) {
        const pid_t process = processOf(asked);
        if (process == processOf(at(ElementId{0})))
            throw UnresponsiveApplication();
        m_hungHelpers.insert(process);
    }
    return nullptr;
}

QList<ElementId> MacAccessibleTree::children(CFTypeRef value, qsizetype most)
{
    QList<ElementId> children;
    if (!value || CFGetTypeID(value) != CFArrayGetTypeID())
        return children;
    const auto array = static_cast<CFArrayRef>(value);
    const CFIndex count = CFArrayGetCount(array);
    for (CFIndex i = 0; i < count && children.size() < most; ++i) {
        const CFTypeRef child = CFArrayGetValueAtIndex(array, i);
        if (!child || CFGetTypeID(child) != AXUIElementGetTypeID())
            continue;
        m_elements.emplace_back(static_cast<AXUIElementRef>(CFRetain(child)));
        children.append(ElementId{static_cast<qint32>(m_elements.size() - 1)});
    }
    return children;
}

#include "executor/ControlWalk.h"

#include <QStringList>

#include <algorithm>
#include <deque>

namespace {
using namespace ControlWalk;

// Each batch is a round trip. So batches grow, and what is fetched in vain stays in proportion to
// what was needed.
constexpr qsizetype firstBatch = 64;
constexpr qsizetype largestBatch = 1024;

struct Queued
{
    ElementId element;
    int depth;
};

// The first non-empty text of each control. Most controls have a title, so only the others are
// asked for further texts.
QStringList labels(AccessibleTree &tree, const QList<ElementId> &elements)
{
    QStringList found;
    QList<qsizetype> untitled;
    for (const QStringList &texts : tree.texts(elements, {LabelAttribute::title})) {
        if (texts.constFirst().isEmpty())
            untitled.append(found.size());
        found.append(texts.constFirst());
    }
    if (untitled.isEmpty())
        return found;
    QList<ElementId> rest;
    for (const qsizetype index : std::as_const(untitled))
        rest.append(elements[index]);
    const QList<QStringList> others = tree.texts(
        rest, {LabelAttribute::description, LabelAttribute::value, LabelAttribute::help});
    for (qsizetype i = 0; i < untitled.size(); ++i) {
        const auto first = std::ranges::find_if_not(others[i], &QString::isEmpty);
        if (first != others[i].end())
            found[untitled[i]] = *first;
    }
    return found;
}

// Elements from the front of the queue that are either all expanded or all not.
QList<Queued> takeBatch(std::deque<Queued> &queue, qsizetype most, int depthLimit)
{
    QList<Queued> batch;
    const bool expands = queue.front().depth < depthLimit;
    while (!queue.empty() && batch.size() < most && (queue.front().depth < depthLimit) == expands) {
        batch.append(queue.front());
        queue.pop_front();
    }
    return batch;
}

// The elements that match the filter, whether the user can see them or not.
QList<Control> controls(AccessibleTree &tree, const QList<ElementId> &elements,
                        const QList<AccessibleNode> &nodes, const ControlFilter &filter)
{
    QList<Control> found;
    QList<ElementId> asked;
    for (qsizetype i = 0; i < elements.size(); ++i) {
        if (std::ranges::find(filter.roles, QStringView(nodes[i].role)) == filter.roles.end())
            continue;
        asked.append(elements[i]);
        found.append({.element = elements[i], .role = nodes[i].role, .label = {}});
    }
    if (asked.isEmpty())
        return found;
    const QStringList texts = labels(tree, asked);
    for (qsizetype i = 0; i < found.size(); ++i)
        found[i].label = texts[i];
    found.removeIf([&](const Control &control) { return !filter.label(control.label); });
    return found;
}

// In small batches: the visitor may stop after the first control.
VisitResult visitShown(AccessibleTree &tree, const QList<Control> &found,
                       const std::function<VisitResult(const Control &)> &visit)
{
    constexpr qsizetype atATime = 32;
    for (qsizetype start = 0; start < found.size(); start += atATime) {
        const QList<Control> some = found.mid(start, atATime);
        QList<ElementId> asked;
        for (const Control &control : some)
            asked.append(control.element);
        const QList<Visibility> visibilities = tree.visibilities(asked);
        for (qsizetype i = 0; i < some.size(); ++i) {
            if (visibilities[i] == Visibility::hidden)
                continue;
            Control control = some[i];
            control.isShown = visibilities[i] == Visibility::shown;
            if (visit(control) == VisitResult::stop)
                return VisitResult::stop;
        }
    }
    return VisitResult::proceed;
}
} // namespace

void ControlWalk::run(AccessibleTree &tree, Limits limits, const ControlFilter &filter,
                      const std::function<VisitResult(const Control &)> &visit)
{
    std::deque<Queued> queue;
    for (const ElementId root : tree.roots())
        queue.push_back({root, 0});
    qsizetype left = limits.elements;
    qsizetype batchSize = firstBatch;
    while (!queue.empty() && left > 0 && !tree.isTimeUp()) {
        const QList<Queued> batch = takeBatch(queue, std::min(batchSize, left), limits.depth);
        if (batch.size() == batchSize)
            batchSize = std::min(2 * batchSize, largestBatch);
        left -= batch.size();
        QList<ElementId> elements;
        for (const Queued &queued : batch)
            elements.append(queued.element);
        // Children beyond the limit of elements need not be fetched.
        const qsizetype room = left - static_cast<qsizetype>(queue.size());
        const bool expands = batch.constFirst().depth < limits.depth;
        const QList<AccessibleNode> nodes =
            tree.nodes(elements, expands ? std::max<qsizetype>(room, 0) : 0);
        for (qsizetype i = 0; i < batch.size(); ++i) {
            for (const ElementId child : nodes[i].children)
                queue.push_back({child, batch[i].depth + 1});
        }
        if (visitShown(tree, controls(tree, elements, nodes, filter), visit) == VisitResult::stop)
            return;
    }
}

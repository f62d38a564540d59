#include "executor/ControlWalk.h"

#include <algorithm>
#include <deque>

namespace {
using namespace ControlWalk;

// Enough to keep an application busy while answers travel, and soon enough over.
constexpr qsizetype batchSize = 128;

struct Queued
{
    ElementId element;
    int depth;
};

// The first of its texts that is not empty. Most controls have a title, so only the others are
// asked for more.
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

// The elements in front that lie alike with regard to the depth limit.
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
} // namespace

void ControlWalk::run(AccessibleTree &tree, Limits limits, std::span<const QStringView> roles,
                      const std::function<Next(const Control &)> &visit)
{
    std::deque<Queued> queue;
    for (const ElementId root : tree.roots())
        queue.push_back({root, 0});
    qsizetype left = limits.elements;
    while (!queue.empty() && left > 0 && !tree.isTimeUp()) {
        const QList<Queued> batch = takeBatch(queue, std::min(batchSize, left), limits.depth);
        left -= batch.size();
        QList<ElementId> elements;
        for (const Queued &queued : batch)
            elements.append(queued.element);
        // What lies behind the last element to be looked at need not even be queued.
        const qsizetype room = left - static_cast<qsizetype>(queue.size());
        const bool expands = batch.constFirst().depth < limits.depth;
        const QList<AccessibleNode> nodes =
            tree.nodes(elements, expands ? std::max<qsizetype>(room, 0) : 0);

        QList<ElementId> wanted;
        QStringList wantedRoles;
        for (qsizetype i = 0; i < batch.size(); ++i) {
            if (std::ranges::find(roles, QStringView(nodes[i].role)) != roles.end()) {
                wanted.append(elements[i]);
                wantedRoles.append(nodes[i].role);
            }
            for (const ElementId child : nodes[i].children)
                queue.push_back({child, batch[i].depth + 1});
        }
        const QStringList found = wanted.isEmpty() ? QStringList() : labels(tree, wanted);
        for (qsizetype i = 0; i < wanted.size(); ++i) {
            if (visit({wanted[i], wantedRoles[i], found[i]}) == Next::stop)
                return;
        }
    }
}

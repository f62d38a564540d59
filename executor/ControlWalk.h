#pragma once

#include "platform/Accessibility.h"

#include <QStringView>

#include <functional>
#include <span>

/// Walks an application's controls breadth first, with the result of visiting them one by one. It
/// fetches them in batches, since each query is a round trip to another process, but few more of
/// them than it visits.
namespace ControlWalk {
struct Limits
{
    qsizetype elements = 0; ///< At most so many are fetched.
    int depth = 0;          ///< Elements at this depth and below are not expanded.
};

struct Control
{
    ElementId element;
    QString role;
    QString label;
    bool isShown = true; ///< Or the application does not tell.
};

enum class VisitResult { proceed, stop };

struct ControlFilter
{
    std::span<const QStringView> roles;
    std::function<bool(const QString &label)>
        label; ///< Called once for each control with one of the roles.
};

/// Calls the visitor for each matching control, until it returns stop, a limit is reached or the
/// time is up. Controls that the user cannot see are skipped.
void run(AccessibleTree &tree, Limits limits, const ControlFilter &filter,
         const std::function<VisitResult(const Control &)> &visit);
} // namespace ControlWalk

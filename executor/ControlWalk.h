#pragma once

#include "platform/Accessibility.h"

#include <QStringView>

#include <functional>
#include <span>

/// Walks an application's controls breadth first, as if it looked at one after the other. They are
/// fetched many at a time, since each question is a trip to another process, but hardly more of
/// them than the walk gets to.
namespace ControlWalk {
struct Limits
{
    qsizetype elements = 0; ///< How many are looked at.
    int depth = 0;          ///< Children are followed while their parent lies above it.
};

struct Control
{
    ElementId element;
    QString role;
    QString label;
};

enum class VisitResult { proceed, stop };

struct ControlFilter
{
    std::span<const QStringView> roles;
    std::function<bool(const QString &label)> label; ///< Asked once for each control of the roles.
};

/// Shows each control of interest to the visitor, until that has seen enough, a limit is reached or
/// the time is up. What the user cannot see is passed over.
void run(AccessibleTree &tree, Limits limits, const ControlFilter &interest,
         const std::function<VisitResult(const Control &)> &visit);
} // namespace ControlWalk

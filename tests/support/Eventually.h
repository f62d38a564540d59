#pragma once

/// How long tests wait for something that happens for sure, in milliseconds. It only bounds a
/// failing test, so it is far longer than a busy machine needs.
constexpr int eventually = 60'000;

#pragma once

/// Keeps the calling thread here until the process ends: for one that can neither go on nor unwind.
[[noreturn]] void parkForEver();

#pragma once

/// Marks what the shared library exports; all else is hidden.
#define CORVENNA_API __attribute__((visibility("default")))

/// Marks an operation that is defined inside its exported class: a host may inline it, and the
/// library exports it all the same for hosts that are built against declarations alone.
#define CORVENNA_INLINE_API CORVENNA_API __attribute__((used))

/// For the definition of what a host may replace by its own. Never in a header: a reference to a
/// weak name would not pull the definition out of the static library.
#define CORVENNA_WEAK __attribute__((weak))

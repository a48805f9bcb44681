#pragma once

/// Marks what the shared library exports; all else is hidden.
#define CORVENNA_API __attribute__((visibility("default")))

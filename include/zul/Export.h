#pragma once

/// Marks what the shared library exports; everything else stays hidden from the host.
#define ZUL_EXPORT __attribute__((visibility("default")))

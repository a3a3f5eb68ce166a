#pragma once

/// Marks what a library offers to others. Everything is compiled with hidden visibility, so that a library exports what
/// its public headers mark and nothing else; inline functions, templates and plain data need no mark. VARKLE_LOCAL
/// takes back what a marked class would hand on to its nested types.
#define VARKLE_API __attribute__((visibility("default")))
#define VARKLE_LOCAL __attribute__((visibility("hidden")))

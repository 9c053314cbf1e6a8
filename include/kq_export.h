// Symbol visibility of libkq_api: the library is built with hidden visibility, and
// only what is marked KQ_EXPORT is part of its dynamic interface.
#pragma once

#if defined(__GNUC__)
#define KQ_EXPORT __attribute__((visibility("default")))
// For what an exported class holds inside, such as its private implementation.
#define KQ_LOCAL __attribute__((visibility("hidden")))
#else
#define KQ_EXPORT
#define KQ_LOCAL
#endif

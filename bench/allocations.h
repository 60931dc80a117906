#pragma once

#include <cstdint>

/// How often the calling thread has taken memory from the heap by `new`, since it began.
std::uint64_t AllocationsOfThisThread();

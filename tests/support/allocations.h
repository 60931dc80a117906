#pragma once

#include <cstdint>

/// How often the calling thread has taken memory from the heap by `new`, since it began. Its source replaces
/// `new` for the whole program.
std::uint64_t AllocationsOfThisThread();

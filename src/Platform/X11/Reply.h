#pragma once

#include <cstdlib>
#include <memory>

// xcb hands out replies, errors and events as malloc'ed blocks that the caller frees.
namespace Platform::X11 {

struct FreeDeleter {
    void operator()(void* block) const { std::free(block); }
};

template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

} // namespace Platform::X11

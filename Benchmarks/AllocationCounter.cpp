#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

bool isCounting = false;
std::size_t liveBytes = 0;

void* counted(void* memory)
{
    if (!memory) {
        throw std::bad_alloc();
    }
    if (isCounting) {
        liveBytes += malloc_usable_size(memory);
    }
    return memory;
}

void release(void* memory)
{
    if (isCounting) {
        liveBytes -= malloc_usable_size(memory);
    }
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size)
{
    return counted(std::malloc(size));
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    const auto step = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(step, (size + step - 1) / step * step));
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    release(memory);
}

namespace glimmerwick {

AllocationCounter::AllocationCounter()
{
    liveBytes = 0;
    isCounting = true;
}

AllocationCounter::~AllocationCounter()
{
    isCounting = false;
}

std::size_t AllocationCounter::bytes() const
{
    return liveBytes;
}

} // namespace glimmerwick

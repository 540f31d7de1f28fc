#include "Allocations.hpp"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace Velmor::Nights::Allocations {
namespace {

struct Fault {
    bool armed = false;
    bool fromThenOn = false;
    int spared = 0;
    std::uint64_t nth = 0;
    std::uint64_t seen = 0;
};

thread_local constinit Fault fault;
constinit std::atomic<std::int64_t> blocks{0};

bool fails() noexcept {
    if (!fault.armed || fault.spared > 0) return false;
    ++fault.seen;
    return fault.nth > 0 && (fault.fromThenOn ? fault.seen >= fault.nth : fault.seen == fault.nth);
}

void* allocate(std::size_t size, std::size_t alignment) noexcept {
    if (fails()) return nullptr;
    size = size > 0 ? size : 1;
    void* const block = alignment > alignof(std::max_align_t)
                            ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
                            : std::malloc(size);
    if (block != nullptr) blocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    if (void* const block = allocate(size, alignment)) return block;
    throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    blocks.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}

}  // namespace

void arm(std::uint64_t nth, bool fromThenOn) {
    fault = {true, fromThenOn, 0, nth, 0};
}

std::uint64_t disarm() {
    fault.armed = false;
    return fault.seen;
}

std::int64_t live() {
    return blocks.load();
}

Spared::Spared() noexcept {
    ++fault.spared;
}

Spared::~Spared() {
    --fault.spared;
}

void failPoint() {
    const int spared = fault.spared;
    fault.spared = 0;
    const bool failed = fails();
    fault.spared = spared;
    if (failed) throw std::bad_alloc();
}

}  // namespace Velmor::Nights::Allocations

namespace Allocations = Velmor::Nights::Allocations;

// The arrays' and the plain forms' neighbours in the standard library come here by way of these.
void* operator new(std::size_t size) {
    return Allocations::allocateOrThrow(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return Allocations::allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocations::allocate(size, 0);
}
void operator delete(void* block) noexcept {
    Allocations::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    Allocations::release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    Allocations::release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    Allocations::release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    Allocations::release(block);
}

#if defined(__APPLE__)
#define _XOPEN_SOURCE 700 // for the functions below, which the system has but calls old
#define _DARWIN_C_SOURCE
#endif
#include "Simulation/Fiber.h"
#include <cstdint>
#include <cstring>
#include <cxxabi.h>
#include <new>
#include <sys/mman.h>
#include <ucontext.h>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define TARNEL_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TARNEL_ADDRESS_SANITIZER
#endif
#endif
#if defined(TARNEL_ADDRESS_SANITIZER)
#include <sanitizer/common_interface_defs.h>
#endif
#if defined(__APPLE__)
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace tarnel::sim {

namespace {

constexpr std::size_t stackSize = std::size_t{512} << 10;

/// Stacks are kept for the next fiber: the pages of a new one cost more than most fibers do.
class Stacks {
public:
    ~Stacks()
    {
        for (void* stack : free)
            ::munmap(stack, stackSize);
    }
    void* take()
    {
        if (!free.empty()) {
            void* const stack = free.back();
            free.pop_back();
            return stack;
        }
        void* const stack = ::mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (stack == MAP_FAILED)
            throw std::bad_alloc();
        ::mprotect(stack, std::size_t{16} << 10, PROT_NONE); // an overflow faults
        return stack;
    }
    void giveBack(void* stack) { free.push_back(stack); }

private:
    std::vector<void*> free;
};

Stacks& stacks()
{
    static thread_local Stacks all;
    return all;
}

/// What the C++ runtime keeps of a thread's exceptions: which are being handled, and how many are under way.
struct Exceptions {
    void* handled = nullptr;
    unsigned underway = 0;

    void swapWithThread()
    {
        Exceptions mine = *this;
        auto* const threads = abi::__cxa_get_globals();
        std::memcpy(static_cast<void*>(this), threads, sizeof(Exceptions));
        std::memcpy(static_cast<void*>(threads), &mine, sizeof(Exceptions));
    }
};

} // namespace

struct Fiber::Context {
    ucontext_t own{};
    ucontext_t resumer{};
    void* stack = nullptr;
    Exceptions exceptions;
    // Of the resumer's stack, for the address sanitizer.
    const void* resumerStack = nullptr;
    std::size_t resumerSize = 0;
    void* ownFake = nullptr;

    /// Before a switch to the stack at `to`; of the stack that is left for good, `fake` is null.
    static void leave([[maybe_unused]] void** fake, [[maybe_unused]] const void* to, [[maybe_unused]] std::size_t size)
    {
#if defined(TARNEL_ADDRESS_SANITIZER)
        __sanitizer_start_switch_fiber(fake, to, size);
#endif
    }
    /// After a switch.
    static void arrive(
        [[maybe_unused]] void* fake, [[maybe_unused]] const void** from, [[maybe_unused]] std::size_t* size)
    {
#if defined(TARNEL_ADDRESS_SANITIZER)
        __sanitizer_finish_switch_fiber(fake, from, size);
#endif
    }
};

Fiber::Fiber(std::function<void()> given)
    : body(std::move(given))
    , context(std::make_unique<Context>())
{
}

Fiber::~Fiber()
{
    if (context->stack)
        stacks().giveBack(context->stack);
}

void Fiber::enter(unsigned high, unsigned low)
{
    auto* const self = reinterpret_cast<Fiber*>((std::uintptr_t{high} << 32) | low);
    Context& context = *self->context;
    Context::arrive(nullptr, &context.resumerStack, &context.resumerSize);
    self->body();
    self->hasEnded = true;
    Context::leave(nullptr, context.resumerStack, context.resumerSize);
    ::setcontext(&context.resumer);
}

void Fiber::resume()
{
    if (!isBegun) {
        isBegun = true;
        context->stack = stacks().take();
        ::getcontext(&context->own);
        context->own.uc_stack.ss_sp = context->stack;
        context->own.uc_stack.ss_size = stackSize;
        context->own.uc_link = nullptr;
        const auto self = reinterpret_cast<std::uintptr_t>(this);
        ::makecontext(&context->own, reinterpret_cast<void (*)()>(&Fiber::enter), 2, static_cast<unsigned>(self >> 32),
            static_cast<unsigned>(self & 0xffffffff));
    }
    void* fake = nullptr;
    context->exceptions.swapWithThread();
    Context::leave(&fake, context->stack, stackSize);
    ::swapcontext(&context->resumer, &context->own);
    Context::arrive(fake, nullptr, nullptr);
    context->exceptions.swapWithThread();
}

void Fiber::suspend()
{
    Context::leave(&context->ownFake, context->resumerStack, context->resumerSize);
    ::swapcontext(&context->own, &context->resumer);
    Context::arrive(context->ownFake, &context->resumerStack, &context->resumerSize);
}

} // namespace tarnel::sim

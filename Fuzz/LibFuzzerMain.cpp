// Hands libFuzzer's inputs to the target that TARNEL_FUZZ_TARGET names.
#include "Fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarnel::fuzz::TARNEL_FUZZ_TARGET({reinterpret_cast<const char*>(data), size});
    return 0;
}

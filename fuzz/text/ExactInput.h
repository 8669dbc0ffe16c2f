#pragma once
// ExactInput: the fuzz input copied into a heap block of exactly its size, so that
// AddressSanitizer reports any read past its end (the driver's vector may have spare
// capacity behind the input, which ASan does not guard).
//
// Thread safety: none needed (one per input).
//
//   const ExactInput input(data, size);
//   consume(input.view());
//   legacyCFunction(input.cString());   // a separate block of size + 1 with a final NUL

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace velmora::fuzzing {

class ExactInput {
  public:
    ExactInput(const std::uint8_t* data, std::size_t size)
        : bytes_(new char[size]), terminated_(new char[size + 1]), size_(size) {
        if (size != 0) {
            std::memcpy(bytes_.get(), data, size);
            std::memcpy(terminated_.get(), data, size);
        }
        terminated_[size] = '\0';
    }

    std::string_view view() const { return {bytes_.get(), size_}; }
    const char* cString() const { return terminated_.get(); }

  private:
    std::unique_ptr<char[]> bytes_;
    std::unique_ptr<char[]> terminated_;
    std::size_t size_;
};

}  // namespace velmora::fuzzing

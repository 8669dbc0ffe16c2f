#include "Velmora/platform/storage/internal/PlistBinaryCheck.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <fmt/format.h>

namespace velmora::detail {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

struct Object {
    std::uint64_t childrenBegin = 0;  // byte position of the first reference
    std::uint64_t childCount = 0;     // references (a dictionary's keys and values)
    bool isDictionary = false;
    bool isString = false;
};

class Checker {
  public:
    Checker(std::span<const std::uint8_t> bytes, std::string* error)
        : bytes_(bytes), error_(error) {}

    bool run();

  private:
    bool fail(std::string text) {
        if (error_ != nullptr) {
            *error_ = std::move(text);
        }
        return false;
    }
    std::uint64_t readBigEndian(std::uint64_t position, unsigned width) const {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < width; ++i) {
            value = (value << 8) | bytes_[position + i];
        }
        return value;
    }
    bool readObject(std::uint64_t index, Object& object);
    std::uint64_t reference(const Object& object, std::uint64_t n) const {
        return readBigEndian(object.childrenBegin + n * refSize_, refSize_);
    }

    std::span<const std::uint8_t> bytes_;
    std::string* error_;
    unsigned offsetSize_ = 0;
    unsigned refSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t tableOffset_ = 0;
};

bool Checker::readObject(std::uint64_t index, Object& object) {
    const std::uint64_t offset = readBigEndian(tableOffset_ + index * offsetSize_, offsetSize_);
    const std::uint64_t end = tableOffset_;  // objects lie between the header and the table
    if (offset < kHeaderSize || offset >= end) {
        return fail(fmt::format("object {} lies outside the data", index));
    }
    const std::uint8_t marker = bytes_[offset];
    const unsigned type = marker >> 4;
    const unsigned info = marker & 0x0f;
    std::uint64_t position = offset + 1;
    auto fits = [&](std::uint64_t length) { return length <= end - position; };

    // The element count of data, strings and containers: inline, or an integer object.
    std::uint64_t count = info;
    if ((type == 0x4 || type == 0x5 || type == 0x6 || type == 0xA || type == 0xD) && info == 0xf) {
        if (!fits(1)) {
            return fail("truncated length");
        }
        const std::uint8_t lengthMarker = bytes_[position++];
        const unsigned width = 1u << (lengthMarker & 0x0f);
        if ((lengthMarker >> 4) != 0x1 || width > 8 || !fits(width)) {
            return fail(fmt::format("bad length of object {}", index));
        }
        count = readBigEndian(position, width);
        position += width;
    }

    switch (type) {
        case 0x0:
            if (marker != 0x08 && marker != 0x09) {
                return fail(fmt::format("unsupported marker 0x{:02x}", marker));
            }
            return true;
        case 0x1:
            return info <= 4 && fits(std::uint64_t{1} << info)
                       ? true
                       : fail(fmt::format("bad integer object {}", index));
        case 0x2:
            return (info == 2 || info == 3) && fits(std::uint64_t{1} << info)
                       ? true
                       : fail(fmt::format("bad real object {}", index));
        case 0x3:
            return marker == 0x33 && fits(8) ? true
                                             : fail(fmt::format("bad date object {}", index));
        case 0x4:
            return fits(count) ? true : fail(fmt::format("truncated object {}", index));
        case 0x5:
            object.isString = true;
            if (!fits(count)) {
                return fail(fmt::format("truncated object {}", index));
            }
            // libplist asserts (aborts) on a dictionary key holding NUL, and passes other
            // bytes through unchecked: only NUL-free 7-bit text is let through.
            for (std::uint64_t i = 0; i < count; ++i) {
                if (bytes_[position + i] == 0 || bytes_[position + i] >= 0x80) {
                    return fail(fmt::format("string object {} is not ASCII text", index));
                }
            }
            return true;
        case 0x6:
            object.isString = true;
            if (count > (end - position) / 2) {
                return fail(fmt::format("truncated object {}", index));
            }
            for (std::uint64_t i = 0; i < count; ++i) {
                const auto unit = static_cast<unsigned>(readBigEndian(position + 2 * i, 2));
                const bool high = unit >= 0xD800 && unit <= 0xDBFF;
                const bool low = unit >= 0xDC00 && unit <= 0xDFFF;
                if (unit == 0 || low) {
                    return fail(fmt::format("string object {} is not UTF-16 text", index));
                }
                if (high) {
                    const auto next =
                        i + 1 < count
                            ? static_cast<unsigned>(readBigEndian(position + 2 * i + 2, 2))
                            : 0u;
                    if (next < 0xDC00 || next > 0xDFFF) {
                        return fail(fmt::format("string object {} is not UTF-16 text", index));
                    }
                    ++i;
                }
            }
            return true;
        case 0x8: {
            const unsigned width = info + 1;
            return (width == 1 || width == 2 || width == 4 || width == 8) && fits(width)
                       ? true
                       : fail(fmt::format("bad UID object {}", index));
        }
        case 0xA:
        case 0xD: {
            const std::uint64_t references = type == 0xD ? count * 2 : count;
            if (type == 0xD && count > UINT64_MAX / 2) {
                return fail(fmt::format("truncated object {}", index));
            }
            if (references > (end - position) / refSize_) {
                return fail(fmt::format("truncated object {}", index));
            }
            object.childrenBegin = position;
            object.childCount = references;
            object.isDictionary = type == 0xD;
            for (std::uint64_t n = 0; n < references; ++n) {
                if (reference(object, n) >= objectCount_) {
                    return fail(fmt::format("object {} refers to a missing object", index));
                }
            }
            return true;
        }
        default:
            return fail(fmt::format("unsupported marker 0x{:02x}", marker));
    }
}

bool Checker::run() {
    const std::size_t size = bytes_.size();
    if (size < kHeaderSize + kTrailerSize || std::memcmp(bytes_.data(), "bplist00", 8) != 0) {
        return fail("not a binary property list");
    }
    const std::uint64_t trailer = size - kTrailerSize;
    offsetSize_ = bytes_[trailer + 6];
    refSize_ = bytes_[trailer + 7];
    objectCount_ = readBigEndian(trailer + 8, 8);
    const std::uint64_t top = readBigEndian(trailer + 16, 8);
    tableOffset_ = readBigEndian(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) {
        return fail("bad trailer");
    }
    if (objectCount_ == 0 || top >= objectCount_ || tableOffset_ < kHeaderSize + 1 ||
        tableOffset_ > trailer || objectCount_ > (trailer - tableOffset_) / offsetSize_) {
        return fail("bad trailer");
    }

    // Depth-first walk with an explicit stack. Each object is read once; its expanded
    // node count and depth are summed from its children after they are done.
    enum class Mark : std::uint8_t { New, Open, Done };
    std::vector<Mark> marks(objectCount_, Mark::New);
    std::vector<std::uint64_t> nodes(objectCount_, 0);
    std::vector<std::uint32_t> depths(objectCount_, 0);
    std::vector<std::uint8_t> isString(objectCount_, 0);
    const std::uint64_t nodeLimit = PlistBinaryCheck::kNodesPerByte * size + 1024;

    struct Frame {
        std::uint64_t index;
        Object object;
        std::uint64_t next = 0;
    };
    std::vector<Frame> stack;
    auto open = [&](std::uint64_t index) {
        Frame frame{index, {}, 0};
        if (!readObject(index, frame.object)) {
            return false;
        }
        isString[index] = frame.object.isString ? 1 : 0;
        marks[index] = Mark::Open;
        stack.push_back(frame);
        return true;
    };
    if (!open(top)) {
        return false;
    }
    while (!stack.empty()) {
        Frame& frame = stack.back();
        if (frame.next < frame.object.childCount) {
            const std::uint64_t child = reference(frame.object, frame.next++);
            if (marks[child] == Mark::Open) {
                return fail("the object graph has a cycle");
            }
            if (marks[child] == Mark::New) {
                if (stack.size() >= PlistBinaryCheck::kMaxDepth) {
                    return fail("nesting too deep");
                }
                if (!open(child)) {
                    return false;
                }
            }
            continue;
        }
        // All children done: check keys, sum counts.
        std::uint64_t total = 1;
        std::uint32_t depth = 0;
        const std::uint64_t keyCount = frame.object.isDictionary ? frame.object.childCount / 2 : 0;
        for (std::uint64_t n = 0; n < frame.object.childCount; ++n) {
            const std::uint64_t child = reference(frame.object, n);
            if (n < keyCount && isString[child] == 0) {
                return fail("a dictionary key is not a string");
            }
            total = std::min(nodeLimit + 1, total + nodes[child]);
            depth = std::max(depth, depths[child]);
        }
        if (total > nodeLimit) {
            return fail("the property list expands too far");
        }
        nodes[frame.index] = total;
        depths[frame.index] = depth + 1;
        marks[frame.index] = Mark::Done;
        stack.pop_back();
    }
    if (depths[top] > PlistBinaryCheck::kMaxDepth) {
        return fail("nesting too deep");
    }
    return true;
}

}  // namespace

bool PlistBinaryCheck::check(std::span<const std::uint8_t> bytes, std::string* error) {
    return Checker(bytes, error).run();
}

}  // namespace velmora::detail

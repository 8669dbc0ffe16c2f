#include "Velmora/platform/foundation/Selector.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {
namespace {

struct InternTable {
    std::mutex mutex;
    std::unordered_set<std::string> names;  // node-based: element addresses are stable
};

}  // namespace

Selector::Selector(std::string_view name) {
    static NoDestructor<InternTable> table;
    std::lock_guard lock(table->mutex);
    name_ = &*table->names.emplace(name).first;
}

std::size_t Selector::argumentCount() const {
    return static_cast<std::size_t>(std::count(name_->begin(), name_->end(), ':'));
}

}  // namespace velmora

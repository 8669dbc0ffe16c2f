#include "Velmora/platform/storage/Coding.h"

#include <map>
#include <mutex>

#include "Velmora/platform/foundation/NoDestructor.h"

namespace velmora {
namespace {

struct Classes {
    std::mutex mutex;  // guards entries
    std::map<std::string, CodingRegistry::Entry, std::less<>> entries;
};

Classes& classes() {
    static NoDestructor<Classes> instance;
    return *instance;
}

}  // namespace

Coding::~Coding() = default;

void CodingRegistry::registerClass(std::string className, Decoder decode,
                                   std::vector<std::string> superclasses) {
    Entry entry{className, {className}, std::move(decode)};
    entry.hierarchy.insert(entry.hierarchy.end(), superclasses.begin(), superclasses.end());
    std::lock_guard lock(classes().mutex);
    classes().entries.insert_or_assign(std::move(className), std::move(entry));
}

void CodingRegistry::unregisterClass(std::string_view className) {
    std::lock_guard lock(classes().mutex);
    if (auto found = classes().entries.find(className); found != classes().entries.end()) {
        classes().entries.erase(found);
    }
}

std::optional<CodingRegistry::Entry> CodingRegistry::find(std::string_view className) {
    std::lock_guard lock(classes().mutex);
    if (auto found = classes().entries.find(className); found != classes().entries.end()) {
        return found->second;
    }
    return std::nullopt;
}

}  // namespace velmora

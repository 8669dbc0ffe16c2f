#include "Velmora/imaging/gl/ExtensionList.h"

namespace velmora {

namespace {

template <class Visit>
void forEachExtension(std::string_view list, Visit visit) {
    while (!list.empty()) {
        const auto space = list.find(' ');
        const std::string_view name = list.substr(0, space);
        if (!name.empty() && visit(name)) {
            return;
        }
        if (space == std::string_view::npos) {
            return;
        }
        list.remove_prefix(space + 1);
    }
}

}  // namespace

std::vector<std::string> splitExtensionList(std::string_view list) {
    std::vector<std::string> names;
    forEachExtension(list, [&names](std::string_view name) {
        names.emplace_back(name);
        return false;
    });
    return names;
}

bool extensionListContains(std::string_view list, std::string_view name) {
    bool found = false;
    forEachExtension(list, [&](std::string_view entry) {
        found = entry == name;
        return found;
    });
    return found;
}

}  // namespace velmora

// Any URL may arrive from another program. handleOpenURL must never crash, must answer
// only URLs of its scheme, and a query read with parseURLParams must come back the same
// after stringByAppendingURLParams writes it again.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "Velmora/messaging/IACClient.h"
#include "Velmora/messaging/IACManager.h"
#include "Velmora/platform/host/HeadlessApplication.h"
#include "Velmora/text/NSString+URLParams.h"

namespace {

using namespace velmora;

IACManager& manager() {
    static IACManager instance;
    static const bool configured = [] {
        auto app = std::make_shared<HeadlessApplication>();
        // Nothing leaves the process: every scheme can be "opened" into the void.
        app->setURLLauncher(
            {[](std::string_view) { return true; }, [](std::string_view) { return true; }});
        Application::install(app);
        instance.setCallbackURLScheme("tasks");
        instance.handleAction("add", [](const Dictionary&, IACManager::ActionSuccess ok,
                                        IACManager::ActionFailure fail) {
            ok(Dictionary{{"id", "1"}}, false);
            fail(IACError{"d", 1, "m"});
        });
        return true;
    }();
    static_cast<void>(configured);
    return instance;
}

std::string lowercaseScheme(std::string_view url) {
    std::string scheme(url.substr(0, url.find(':')));
    for (char& c : scheme) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return scheme;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const Dictionary parameters = parseURLParams(text);
    const std::string written = stringByAppendingURLParams("", parameters);
    const Dictionary reread = parseURLParams(written.empty() ? written : written.substr(1));
    if (!reread.isEqual(parameters)) {
        std::abort();
    }
    IACManager& iac = manager();
    // Keep one request outstanding so responses can find it.
    if (iac.outstandingRequestIDs().empty()) {
        auto client = IACClient::clientWithURLScheme("notes");
        client->setManager(&iac);
        client->performAction(
            "add", {}, [](const auto&) {}, [](const IACError&) {});
    }
    // Only the scheme's own URLs may be handled (in any letter case).
    if (iac.handleOpenURL(text) && lowercaseScheme(text) != "tasks") {
        std::abort();
    }
    return 0;
}

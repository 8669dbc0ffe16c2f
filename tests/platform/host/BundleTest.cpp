#include <gtest/gtest.h>

#include "Velmora/platform/host/Application.h"
#include "Velmora/platform/host/Bundle.h"

namespace velmora {
namespace {

// This machine has no translated catalogue for the tests, so these pin the untranslated
// path, which is what every key without a translation takes.
TEST(BundleTest, AnUntranslatedKeyComesBackAsItselfOrTheDefault) {
    Bundle& bundle = Bundle::main();
    EXPECT_EQ(bundle.textDomain(), "velmora");
    EXPECT_EQ(bundle.localizedString("Sunday"), "Sunday");
    EXPECT_EQ(bundle.localizedString("Sunday", "", ""), "Sunday");
    EXPECT_EQ(bundle.localizedString("Sunday", "Sonntag"), "Sonntag");
    EXPECT_EQ(bundle.localizedString("Sunday", "", "OtherTable"), "Sunday");
    // gettext would answer its catalogue header for the empty key.
    EXPECT_EQ(bundle.localizedString(""), "");
    EXPECT_EQ(bundle.localizedString("", "fallback"), "fallback");
}

TEST(BundleTest, IdentityComesFromTheApplication) {
    auto app = std::make_shared<HeadlessApplication>();
    app->setBundleIdentifier("com.example.app.SiriKit");
    app->setDisplayName("Example");
    Application::install(app);
    EXPECT_EQ(Bundle::main().bundleIdentifier(), "com.example.app.SiriKit");
    EXPECT_EQ(Bundle::main().displayName(), "Example");
    Application::install(nullptr);
}

}  // namespace
}  // namespace velmora

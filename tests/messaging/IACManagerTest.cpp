#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Velmora/messaging/IACClient.h"
#include "Velmora/messaging/IACDelegate.h"
#include "Velmora/messaging/IACManager.h"
#include "Velmora/platform/host/HeadlessApplication.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"
#include "Velmora/text/NSString+URLParams.h"

namespace velmora {
namespace {

// Records what the manager opens; only the schemes in installed_ can be opened.
class IACManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto app = std::make_shared<HeadlessApplication>();
        app->setDisplayName("Tasks");
        app->setURLLauncher(
            {[this](std::string_view scheme) { return installed_.contains(std::string(scheme)); },
             [this](std::string_view url) {
                 opened_.emplace_back(url);
                 return true;
             }});
        Application::install(app);
        manager_.setCallbackURLScheme("tasks");
        client_ = IACClient::clientWithURLScheme("notes");
        client_->setManager(&manager_);
        Log::addLogger(logger_, LogLevel::Error);
    }
    void TearDown() override {
        Log::removeLogger(logger_);
        Application::install(nullptr);
    }

    // The query of the only URL opened, as parameters.
    Dictionary openedParameters() {
        EXPECT_EQ(opened_.size(), 1u);
        return opened_.empty()
                   ? Dictionary{}
                   : parseURLParams(opened_.back().substr(opened_.back().find('?') + 1));
    }
    std::string answerURL(const std::string& requestID, int type, const Dictionary& extra = {}) {
        Dictionary parameters{{"IACRequestID", requestID}, {"IACResponseType", type}};
        for (const auto& [key, value] : extra) {
            parameters.set(key, value);
        }
        return stringByAppendingURLParams("tasks://x-callback-url/IACRequestResponse?", parameters);
    }

    std::set<std::string> installed_{"notes", "tasks"};
    std::vector<std::string> opened_;
    IACManager manager_;
    std::shared_ptr<IACClient> client_;
    std::shared_ptr<MemoryLogger> logger_ = std::make_shared<MemoryLogger>();
};

TEST_F(IACManagerTest, RequestURLCarriesParametersSourceAndTheCallbacksOfTheRequest) {
    struct Case {
        const char* name;
        bool success, error;
        std::vector<std::string> callbackKeys;
    };
    const std::vector<Case> cases{{"both", true, true, {"x-success", "x-cancel", "x-error"}},
                                  {"success only", true, false, {"x-success", "x-cancel"}},
                                  {"error only", false, true, {"x-error"}},
                                  {"none", false, false, {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        opened_.clear();
        client_->performAction("add", Dictionary{{"title", "Milk & eggs"}},
                               c.success ? IACRequest::SuccessBlock([](const auto&) {}) : nullptr,
                               c.error ? IACRequest::ErrorBlock([](const IACError&) {}) : nullptr);
        ASSERT_EQ(opened_.size(), 1u);
        EXPECT_TRUE(opened_[0].starts_with(
            "notes://x-callback-url/add?title=Milk%20%26%20eggs&x-source=Tasks"))
            << opened_[0];
        const Dictionary parameters = openedParameters();
        std::vector<std::string> keys;
        for (const auto& [key, value] : parameters) {
            if (key.stringValue().starts_with("x-") && key.stringValue() != "x-source") {
                keys.push_back(key.stringValue());
                const std::string expectedType = key.stringValue() == "x-success"  ? "0"
                                                 : key.stringValue() == "x-cancel" ? "2"
                                                                                   : "1";
                EXPECT_TRUE(value.stringValue().starts_with(
                    "tasks://x-callback-url/IACRequestResponse?IACRequestID="));
                EXPECT_TRUE(value.stringValue().ends_with("&IACResponseType=" + expectedType));
            }
        }
        EXPECT_EQ(keys, c.callbackKeys);
    }
    // Every request waits in the table, with or without callbacks: there is no time-out.
    EXPECT_EQ(manager_.outstandingRequestIDs().size(), cases.size());
}

TEST_F(IACManagerTest, WithoutCallbackSchemeNoCallbacksAreAddedAndAWarningIsLogged) {
    auto warnings = std::make_shared<MemoryLogger>();
    Log::addLogger(warnings, LogLevel::Warning);
    manager_.setCallbackURLScheme("");
    client_->performAction(
        "add", {}, [](const auto&) {}, nullptr);
    Log::removeLogger(warnings);
    EXPECT_EQ(opened_, std::vector<std::string>{"notes://x-callback-url/add?x-source=Tasks"});
    ASSERT_EQ(warnings->lines().size(), 1u);
    EXPECT_NE(
        warnings->lines()[0].find("WARNING: If you want to support callbacks from the remote "
                                  "app you must define a URL Scheme for this app to listen on"),
        std::string::npos);
}

TEST_F(IACManagerTest, AnUninstalledTargetFailsWithoutSendingOrStoring) {
    installed_.erase("notes");
    std::optional<IACError> failure;
    client_->performAction("add", {}, nullptr, [&](const IACError& error) { failure = error; });
    ASSERT_TRUE(failure);
    EXPECT_EQ(*failure, (IACError{"com.iac.manager.error", 1,
                                  "App with scheme 'notes' is not installed in this device"}));
    EXPECT_TRUE(opened_.empty());
    EXPECT_TRUE(manager_.outstandingRequestIDs().empty());
    EXPECT_FALSE(client_->isAppInstalled());
}

TEST_F(IACManagerTest, ResponsesReachTheCallbacksOfTheirRequestByType) {
    struct Case {
        const char* name;
        int type;
        Dictionary extra;
        bool handled;
        std::string expected;  // what the callbacks saw
    };
    const std::vector<Case> cases{
        {"success", 0, Dictionary{{"id", "42"}, {"IACExtra", "x"}}, true, "success {id = 42;}"},
        {"cancel", 2, {}, true, "success nil"},
        {"error with domain", 1,
         Dictionary{{"error-Code", "7"}, {"errorMessage", "Broken"}, {"errorDomain", "app.err"}},
         true, "error app.err 7 Broken"},
        {"error without domain", 1, Dictionary{{"error-Code", "12abc"}, {"errorMessage", "No"}},
         true, "error com.iac.client.error 12 No"},
        {"unknown type", 5, {}, false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string seen;
        client_->performAction(
            "add", {},
            [&](const std::optional<Dictionary>& result) {
                seen = result ? "success " + Value(*result).description() : "success nil";
            },
            [&](const IACError& error) {
                seen = fmt::format("error {} {} {}", error.domain, error.code,
                                   error.localizedDescription);
            });
        const std::string id = manager_.outstandingRequestIDs().front();
        EXPECT_EQ(manager_.handleOpenURL(answerURL(id, c.type, c.extra)), c.handled);
        std::erase(seen, '\n');
        std::erase(seen, ' ');
        std::string expected = c.expected;
        std::erase(expected, ' ');
        EXPECT_EQ(seen, expected);
        EXPECT_TRUE(manager_.outstandingRequestIDs().empty());  // settled, or dropped
    }
}

TEST_F(IACManagerTest, AResponseWithAnUnknownIDIsNotHandledAndLeavesTheTable) {
    client_->performAction(
        "add", {}, [](const auto&) {}, nullptr);
    const auto before = manager_.outstandingRequestIDs();
    EXPECT_FALSE(manager_.handleOpenURL(answerURL("NOT-OURS", 0)));
    EXPECT_EQ(manager_.outstandingRequestIDs(), before);
    ASSERT_TRUE(manager_.outstandingRequest(before.front()));
    EXPECT_EQ(manager_.outstandingRequest(before.front())->action(), "add");
}

TEST_F(IACManagerTest, URLsThatAreNotOursAreNotHandled) {
    int calls = 0;
    manager_.handleAction("add", [&](const auto&, auto, auto) { ++calls; });
    for (const char* url :
         {"other://x-callback-url/add", "tasks://elsewhere/add", "tasks://x-callback-url/",
          "tasks://x-callback-url", "tasks:add", "not a url", ""}) {
        SCOPED_TRACE(url);
        EXPECT_FALSE(manager_.handleOpenURL(url));
    }
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(
        manager_.handleOpenURL("TASKS://x-callback-url/ad"
                               "d"));  // scheme case does not matter
    EXPECT_EQ(calls, 1);
}

TEST_F(IACManagerTest, HandlersMatchWithoutCaseAndSeeOnlyTheirParametersAndXSource) {
    Dictionary input;
    manager_.handleAction("ADD",
                          [&](const Dictionary& parameters, auto, auto) { input = parameters; });
    EXPECT_TRUE(manager_.handleOpenURL(
        "tasks://x-callback-url/Add?title=Milk&x-source=Notes&x-success=notes%3A%2F%2Fok"
        "&IACRequestID=1&x-other=2&IACx=3&plain=4"));
    EXPECT_TRUE(input.isEqual(Dictionary{{"title", "Milk"}, {"x-source", "Notes"}, {"plain", "4"}}))
        << Value(input).description();
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/add?title=a", Value("launch")));
    EXPECT_TRUE(input.isEqual(Dictionary{{"title", "a"}, {"options", "launch"}}));
    EXPECT_TRUE(
        IACManager::removeProtocolParamsFromDictionary(
            Dictionary{{"x-error", "1"}, {"IACRequestID", "2"}, {"x-source", "s"}, {"k", "v"}})
            .isEqual(Dictionary{{"x-source", "s"}, {"k", "v"}}));
}

TEST_F(IACManagerTest, HandlerAnswersOpenTheRequestersCallbacks) {
    struct Case {
        const char* name;
        std::function<void(IACManager::ActionSuccess, IACManager::ActionFailure)> answer;
        std::string expected;
    };
    const std::vector<Case> cases{
        {"result",
         [](auto ok, auto) {
             ok(Dictionary{{"id", "9"}}, false);
         },
         "notes://ok?id=9"},
        {"no result", [](auto ok, auto) { ok(std::nullopt, false); }, "notes://ok"},
        {"cancel",
         [](auto ok, auto) {
             ok(Dictionary{{"id", "9"}}, true);
         },
         "notes://cancel"},
        {"error",
         [](auto, auto fail) {
             fail(IACError{"d", 4, "m & n"});
         },
         "notes://err?error-Code=4&errorMessage=m%20%26%20n&errorDomain=d"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        opened_.clear();
        manager_.handleAction("do", [&](const auto&, auto ok, auto fail) { c.answer(ok, fail); });
        EXPECT_TRUE(manager_.handleOpenURL(
            "tasks://x-callback-url/do?x-success=notes%3A%2F%2Fok&x-cancel=notes%3A%2F%2Fcancel"
            "&x-error=notes%3A%2F%2Ferr"));
        EXPECT_EQ(opened_, std::vector<std::string>{c.expected});
    }
    // Without the matching callback URL nothing is opened.
    opened_.clear();
    manager_.handleAction("do", [](const auto&, auto ok, auto) { ok(std::nullopt, true); });
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/do?x-success=notes%3A%2F%2Fok"));
    EXPECT_TRUE(opened_.empty());
}

TEST_F(IACManagerTest, UnsupportedActionsAnswerThroughXErrorOrAreNotHandled) {
    EXPECT_FALSE(manager_.handleOpenURL("tasks://x-callback-url/frob?x-success=notes%3A%2F%2Fok"));
    EXPECT_TRUE(opened_.empty());
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/frob?x-error=notes%3A%2F%2Ferr"));
    EXPECT_TRUE(openedParameters().isEqual(
        Dictionary{{"error-Code", "2"},
                   {"errorMessage", "'frob' is not an x-callback-url action supported by Tasks"},
                   {"errorDomain", "com.iac.manager.error"}}));
}

struct PingDelegate : IACDelegate {
    bool supportsIACAction(const std::string& action) override { return action == "Ping"; }
    void performIACAction(const std::string& action, const Dictionary&,
                          IACManager::ActionSuccess onSuccess, IACManager::ActionFailure) override {
        performed.push_back(action);
        onSuccess(Dictionary{{"pong", "1"}}, false);
    }
    std::vector<std::string> performed;
};

TEST_F(IACManagerTest, TheDelegateAnswersActionsWithoutHandler) {
    auto delegate = std::make_shared<PingDelegate>();
    manager_.setDelegate(delegate);
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/Ping?x-success=notes%3A%2F%2Fok"));
    EXPECT_EQ(delegate->performed, std::vector<std::string>{"Ping"});
    EXPECT_EQ(opened_, std::vector<std::string>{"notes://ok?pong=1"});
    EXPECT_FALSE(manager_.handleOpenURL("tasks://x-callback-url/other"));
    delegate.reset();  // held weakly
    EXPECT_FALSE(manager_.handleOpenURL("tasks://x-callback-url/Ping"));
}

TEST_F(IACManagerTest, ThrowingBlocksAreLoggedAndTheManagerCarriesOn) {
    manager_.handleAction("boom",
                          [](const auto&, auto, auto) { throw std::runtime_error("kaput"); });
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/boom"));
    client_->performAction(
        "add", {}, [](const auto&) { throw std::runtime_error("callback"); }, nullptr);
    EXPECT_TRUE(manager_.handleOpenURL(answerURL(manager_.outstandingRequestIDs().front(), 0)));
    EXPECT_TRUE(manager_.outstandingRequestIDs().empty());
    ASSERT_EQ(logger_->lines().size(), 2u);
    EXPECT_NE(logger_->lines()[0].find("kaput"), std::string::npos);
    EXPECT_NE(logger_->lines()[1].find("callback"), std::string::npos);
    int calls = 0;
    manager_.handleAction("fine", [&](const auto&, auto, auto) { ++calls; });
    EXPECT_TRUE(manager_.handleOpenURL("tasks://x-callback-url/fine"));
    EXPECT_EQ(calls, 1);
}

TEST(IACClientTest, ErrorCodesAreTheLeadingIntegerOfTheText) {
    const std::vector<std::pair<std::string, std::int64_t>> cases{
        {"7", 7},   {"-3", -3}, {" 12", 12}, {"+5x", 5},
        {"abc", 0}, {"", 0},    {"1.9", 1},  {"99999999999999999999", INT64_MAX}};
    const IACClient client;
    for (const auto& [text, code] : cases) {
        EXPECT_EQ(client.NSErrorCodeForXCUErrorCode(text), code) << text;
    }
}

}  // namespace
}  // namespace velmora

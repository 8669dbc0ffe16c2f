#pragma once
// URLSchemeListener: receives, while the program runs, the URLs that other processes of
// the user open for a scheme, the way a single-instance desktop program forwards a second
// launch to the first. The listener owns a Unix domain socket
// "<scheme>.sock" (mode 0600) in UserDirectories::privateRuntimeDirectory("url") (mode
// 0700); deliver() connects to it, writes the URL and closes. Incoming URLs reach the
// handler on the main run loop, in the order their connections finished.
//
// Ownership of a scheme is an exclusive flock on "<scheme>.lock" beside the socket, held
// for the listener's life; the kernel drops it when the program dies, so a socket left by
// a crashed program is recognised as stale and replaced, while a live listener makes a
// second listen() fail. A peer that connects and closes without sending anything is a
// probe (isListening) and goes quietly. A peer of another user, a peer that sends
// nothing for kReadTimeoutSeconds, more than kMaxURLLength bytes, bytes that are not a printable
// URL, or a URL of another scheme is dropped and logged at warning level; the listener carries on.
// A handler that throws is logged at error level with its what(); later URLs still arrive.
//
// registerWithDesktop writes the desktop entry that makes the desktop start a program for
// the scheme when none listens (x-scheme-handler/<scheme>), and makes it the default
// through xdg-mime, run in the background, when that tool is installed and $VELMORA_HOME
// is unset (a scratch home never touches the user's real associations).
//
// Thread safety: every static function may be called from any thread. Destroy a listener
// on the main thread: after that its handler is never called again.
//
//   auto listener = URLSchemeListener::listen("todo", [](const std::string& url) {
//       IACManager::sharedManager().handleOpenURL(url); });
//   URLSchemeListener::deliver("todo://x-callback-url/add?title=Milk");   // from anywhere

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

class URLSchemeListener {
  public:
    using Handler = std::function<void(const std::string& url)>;

    static constexpr std::size_t kMaxURLLength = 64 * 1024;
    static constexpr double kReadTimeoutSeconds = 2.0;

    // Starts listening for scheme (compared case-insensitively, stored lower-case).
    // Nothing, with the reason in *error, when the scheme is not a valid scheme name,
    // another live program listens on it, or the socket cannot be made.
    static std::unique_ptr<URLSchemeListener> listen(std::string_view scheme, Handler handler,
                                                     std::string* error = nullptr);
    ~URLSchemeListener();
    URLSchemeListener(const URLSchemeListener&) = delete;
    URLSchemeListener& operator=(const URLSchemeListener&) = delete;

    const std::string& scheme() const { return scheme_; }
    const std::filesystem::path& path() const { return socketPath_; }

    // Where the socket of scheme is; empty for an invalid scheme or without a runtime
    // directory.
    static std::filesystem::path socketPath(std::string_view scheme);
    // Whether a live program listens on the scheme of url (or on scheme itself).
    static bool isListening(std::string_view scheme);
    // Hands url to the live listener of its scheme. Answers false at once when there is
    // none or the URL is over kMaxURLLength; never waits for the listener to read it.
    static bool deliver(std::string_view url);

    // Writes <applications>/velmora-<scheme>.desktop that runs command followed by the
    // URL; answers its path, or nothing with the reason in *error.
    static std::optional<std::filesystem::path> registerWithDesktop(
        std::string_view scheme, const std::vector<std::string>& command,
        std::string* error = nullptr);
    // The desktop's applications directory: $VELMORA_HOME/applications, else
    // $XDG_DATA_HOME/applications (~/.local/share/applications).
    static std::filesystem::path applicationsDirectory();

  private:
    struct State;
    URLSchemeListener(std::string scheme, std::filesystem::path socketPath,
                      std::shared_ptr<State> state);
    std::string scheme_;
    std::filesystem::path socketPath_;
    std::shared_ptr<State> state_;
};

}  // namespace velmora

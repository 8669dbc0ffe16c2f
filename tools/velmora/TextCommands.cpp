// velmora soundex | phone | escape: the text utilities on the command line.
//
//   $ velmora soundex Robert Rupert Ashcraft
//   R163
//   R163
//   A226
//   $ velmora phone --country us 5551234 +15551234567
//   555-1234
//   +1 (555) 123-4567
//   $ velmora escape --for json 'a/b {"k": 1}'
//   a\/b^20^7B^22k^22^3A^201^7D
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Velmora/text/NSString-More.h"
#include "Velmora/text/PhoneNumberFormatter.h"
#include "Velmora/text/SoundEx.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

using TextFunction = std::string (*)(std::string_view);

const std::map<std::string, TextFunction>& escapeFormats() {
    static const std::map<std::string, TextFunction> kFormats{
        {"mail", &escapeAllForMail},  {"unmail", &unescapeAllForMail},
        {"all", &escapeAll},          {"action", &escapeForActionOrTag},
        {"call", &escapeAllForCall},  {"tag", &escapeAllForTag},
        {"search", &escapeForSearch}, {"export", &escapeAllForExport},
        {"xml", &xmlEscape},          {"json", &escapeForJSON},
        {"unjson", &unescapeForJSON}, {"unservice", &unescapeForTaskService},
        {"url", &urlEscape},          {"unurl", &urlUnescape},
        {"clean", &cleanString},      {"validxml", &validXMLString},
    };
    return kFormats;
}

struct SoundexOptions {
    int mode = 2;
    int length = 4;
    std::vector<std::string> names;
};

struct PhoneOptions {
    std::string country;
    bool strip = false;
    std::vector<std::string> texts;
};

struct EscapeOptions {
    std::string format;
    std::string text;
};

void addSoundexCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<SoundexOptions>();
    CLI::App* command = app.add_subcommand(
        "soundex",
        "Phonetic codes of names, one per line (an empty line for a name without letters)");
    command
        ->add_option("--mode", options->mode,
                     "0: refined (spelling rules), 1: American, other: plain")
        ->transform(integerIn(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()))
        ->capture_default_str();
    command->add_option("--length", options->length, "Code length, used in mode 0")
        ->transform(integerIn(4, 10))
        ->capture_default_str();
    command->add_option("NAME", options->names, "The names")->required();
    command->callback([options, &exitCode] {
        for (const std::string& name : options->names) {
            writeLine(soundEx(name, options->length, options->mode));
        }
        exitCode = 0;
    });
}

void addPhoneCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<PhoneOptions>();
    CLI::App* command =
        app.add_subcommand("phone", "Lay phone numbers out in a country's pattern, or strip them");
    CLI::Option* country = command->add_option("--country", options->country,
                                               "Country code: us, gb, jp or de (either case)");
    country->check(CLI::IsMember({"us", "gb", "jp", "de"}, CLI::ignore_case));
    CLI::Option* strip = command->add_flag("--strip", options->strip,
                                           "Only keep what a phone keypad can enter (0-9 # * +)");
    country->excludes(strip);
    command->add_option("NUMBER", options->texts, "The numbers, one result line each")->required();
    command->callback([options, country, &exitCode] {
        if (country->count() == 0 && !options->strip) {
            usageError("give --country CC or --strip");
        }
        const PhoneNumberFormatter formatter;
        for (const std::string& text : options->texts) {
            writeLine(options->strip ? PhoneNumberFormatter::strip(text)
                                     : formatter.format(text, options->country));
        }
        exitCode = 0;
    });
}

void addEscapeCommand(CLI::App& app, int& exitCode) {
    auto options = std::make_shared<EscapeOptions>();
    CLI::App* command =
        app.add_subcommand("escape", "Escape, unescape or clean a text for one destination");
    std::vector<std::string> formats;
    for (const auto& [name, function] : escapeFormats()) {
        formats.push_back(name);
    }
    command->add_option("--for", options->format, "The destination format")
        ->required()
        ->check(CLI::IsMember(formats));
    command->add_option("TEXT", options->text, "The text")->required();
    command->callback([options, &exitCode] {
        writeLine(escapeFormats().at(options->format)(options->text));
        exitCode = 0;
    });
}

}  // namespace

void addTextCommands(CLI::App& app, int& exitCode) {
    addSoundexCommand(app, exitCode);
    addPhoneCommand(app, exitCode);
    addEscapeCommand(app, exitCode);
}

}  // namespace velmora::tool

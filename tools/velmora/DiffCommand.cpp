// velmora diff: compares two result lists saved as JSON and prints, as one JSON object,
// what a table would animate: the sections inserted, deleted and moved and the rows
// inserted and deleted (an updated row is both). --updated also reports rows modified
// after the old list's time of fetch, and pure reorders; --apply edits the old list into
// the new one and prints it too, under "applied", in the file format. A change too large
// to describe row by row (more than 100 removed or added items) prints null and a note.
//
//   $ velmora diff old.json new.json
//   {"insertedSections":[],"deletedSections":[],"movedSections":{"from":[],"to":[]},...}
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "Velmora/collections/FetchedResultListDiff.h"
#include "Velmora/json/VLJson.h"
#include "Velmora/platform/logging/Log.h"
#include "Velmora/platform/logging/MemoryLogger.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/DiffCommandSupport.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

struct DiffOptions {
    std::string oldFile;
    std::string newFile;
    bool updated = false;
    bool apply = false;
    bool pretty = false;
};

std::string displayName(const std::string& file) {
    return file == "-" ? "standard input" : file;
}

// The whole file, or standard input for "-".
std::string readAll(const std::string& file) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    File owned(nullptr, &std::fclose);
    std::FILE* input = stdin;
    if (file != "-") {
        owned.reset(std::fopen(file.c_str(), "rb"));
        if (!owned) {
            fail(fmt::format("cannot open {}: {}", file, std::strerror(errno)));
        }
        input = owned.get();
    }
    std::string text;
    char chunk[64 * 1024];
    std::size_t read = 0;
    while ((read = std::fread(chunk, 1, sizeof chunk, input)) > 0) {
        text.append(chunk, read);
    }
    if (std::ferror(input) != 0) {
        fail(fmt::format("cannot read {}", displayName(file)));
    }
    return text;
}

std::shared_ptr<FetchedResultList> readList(const std::string& file) {
    std::string why;
    const std::optional<Value> document = parseJson(readAll(file), &why);
    if (!document) {
        fail(fmt::format("{}: {}", displayName(file), why));
    }
    auto list = listFromJson(*document, why);
    if (!list) {
        fail(fmt::format("{}: {}", displayName(file), why));
    }
    return list;
}

void runDiff(const DiffOptions& options) {
    if (options.oldFile == "-" && options.newFile == "-") {
        usageError("OLD and NEW cannot both be standard input");
    }
    const auto oldList = readList(options.oldFile);
    const auto newList = readList(options.newFile);
    // The diff reports a failure only through the log; a break-off is not a failure.
    auto errors = std::make_shared<MemoryLogger>(16);
    Log::addLogger(errors, LogLevel::Error);
    const auto diff = FetchedResultListDiff::getFetchedResultDiffWithOldResult(
        oldList, newList, options.updated, options.apply);
    Log::removeLogger(errors);
    if (!diff) {
        if (!errors->lines().empty()) {
            fail(errors->lines().front());
        }
        writeLine("null");
        std::fprintf(stderr,
                     "note: velmora diff: the change is too large to describe row by row (more "
                     "than %zu removed or added items)\n",
                     FetchedResultListDiff::kMaxChanges);
        return;
    }
    Value output = diffToJson(*diff);
    if (options.apply) {
        output.asDictionary()->set("applied", listToJson(*oldList));
    }
    std::string error;
    const std::optional<std::string> text =
        writeJson(output, {.humanReadable = options.pretty}, &error);
    if (!text) {
        fail(error);
    }
    writeLine(*text);
}

}  // namespace

void addDiffCommand(CLI::App& app, int& /*exitCode*/) {
    auto options = std::make_shared<DiffOptions>();
    CLI::App* command = app.add_subcommand(
        "diff",
        "Compare two result lists (JSON) and print the sections and rows a table would "
        "animate (result-list diff)");
    command
        ->add_option("OLD", options->oldFile, "The old list (a JSON file, or - for standard input)")
        ->required();
    command
        ->add_option("NEW", options->newFile, "The new list (a JSON file, or - for standard input)")
        ->required();
    command->add_flag("--updated", options->updated,
                      "Also report rows modified after the old list's time of fetch, and rows "
                      "reordered within an otherwise unchanged section");
    command->add_flag("--apply", options->apply,
                      "Edit the old list into the new one and print it under \"applied\"");
    command->add_flag("--pretty", options->pretty, "Write human-readable, indented output");
    command->callback([options] { runDiff(*options); });
}

}  // namespace velmora::tool

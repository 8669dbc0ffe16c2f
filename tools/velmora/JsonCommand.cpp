// velmora json: reads JSON from a file or standard input through the stream parser and
// writes each top-level document again, re-serialised by the stream writer, on its own
// line. Only the document being read is held in memory.
//
//   $ echo '{"b": [1, 2.50], "a": "x"}' | velmora json --sort-keys
//   {"a":"x","b":[1,2.5]}
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Velmora/json/VLJsonStreamParser.h"
#include "Velmora/json/VLJsonStreamParserAdapter.h"
#include "Velmora/json/VLJsonStreamWriter.h"

#include "tools/velmora/Commands.h"
#include "tools/velmora/ToolSupport.h"

namespace velmora::tool {
namespace {

constexpr std::size_t kChunkSize = 64 * 1024;

struct JsonOptions {
    bool pretty = false;
    bool sortKeys = false;
    bool multi = false;
    std::string file;
};

// Writes each document as it closes; remembers the first write error.
class DocumentPrinter : public VLJsonStreamParserAdapterDelegate {
  public:
    explicit DocumentPrinter(const JsonOptions& options) : options_(options) {}

    void parserFoundArray(VLJsonStreamParser&, const Value& array) override { print(array); }
    void parserFoundObject(VLJsonStreamParser&, const Value& object) override { print(object); }

    const std::string& error() const { return error_; }
    std::size_t documents() const { return documents_; }

  private:
    void print(const Value& document) {
        ++documents_;
        if (!error_.empty()) {
            return;
        }
        VLJsonStreamWriter writer;
        writer.setHumanReadable(options_.pretty);
        writer.setSortKeys(options_.sortKeys);
        if (!writer.writeValue(document)) {
            error_ = writer.error();
            return;
        }
        writeLine(std::string_view(writer.data().data(), writer.data().size()));
    }

    const JsonOptions& options_;
    std::string error_;
    std::size_t documents_ = 0;
};

void runJson(const JsonOptions& options) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    File owned(nullptr, &std::fclose);
    std::FILE* input = stdin;
    if (!options.file.empty() && options.file != "-") {
        owned.reset(std::fopen(options.file.c_str(), "rb"));
        if (!owned) {
            fail("cannot open " + options.file + ": " + std::strerror(errno));
        }
        input = owned.get();
    }
    DocumentPrinter printer(options);
    VLJsonStreamParserAdapter adapter;
    adapter.setDelegate(&printer);
    VLJsonStreamParser parser;
    parser.setMulti(options.multi);
    parser.setDelegate(&adapter);

    std::vector<char> chunk(kChunkSize);
    VLJsonParserStatus status = VLJsonParserStatus::WaitingForData;
    while (status == VLJsonParserStatus::WaitingForData) {
        const std::size_t read = std::fread(chunk.data(), 1, chunk.size(), input);
        if (read == 0) {
            break;
        }
        status = parser.parse(std::string_view(chunk.data(), read));
        if (!printer.error().empty()) {
            fail(printer.error());
        }
    }
    if (std::ferror(input) != 0) {
        fail("cannot read " + (options.file.empty() ? std::string("input") : options.file));
    }
    if (status == VLJsonParserStatus::Error) {
        fail(parser.error());
    }
    if (status == VLJsonParserStatus::WaitingForData &&
        (parser.depth() > 0 || parser.hasPendingInput() ||
         (!options.multi && printer.documents() == 0))) {
        fail("Unexpected end of input");
    }
}

}  // namespace

void addJsonCommand(CLI::App& app, int& /*exitCode*/) {
    auto options = std::make_shared<JsonOptions>();
    CLI::App* command = app.add_subcommand(
        "json",
        "Read JSON documents and write each again on its own line (stream parser "
        "and writer)");
    command->add_flag("--pretty", options->pretty, "Write human-readable, indented output");
    command->add_flag("--sort-keys", options->sortKeys, "Write object keys in ascending order");
    command->add_flag("--multi", options->multi,
                      "Read several top-level documents one after another");
    command->add_option("FILE", options->file, "The input (standard input when absent or -)");
    command->callback([options] { runJson(*options); });
}

}  // namespace velmora::tool

// velmora json: reads JSON from a file or standard input through the stream parser and
// writes each top-level document again, re-serialised by the stream writer, on its own
// line. Without --sort-keys the parser's events go straight to the writer, so memory
// holds the document's text and its output, not its tree. Without --multi, anything but
// whitespace after the first document is an error.
//
//   $ echo '{"b": [1, 2.50], "a": "x"}' | velmora json --sort-keys
//   {"a":"x","b":[1,2.5]}
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Velmora/json/VLJsonStreamCopier.h"
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

    void parserFoundArray(VLJsonStreamParser& parser, const Value& array) override {
        print(array, parser.offset());
    }
    void parserFoundObject(VLJsonStreamParser& parser, const Value& object) override {
        print(object, parser.offset());
    }

    const std::string& error() const { return error_; }
    // Where the document that failed to print ends in the input.
    std::uint64_t errorOffset() const { return errorOffset_; }
    std::size_t documents() const { return documents_; }

    void printText(std::string_view text) {
        ++documents_;
        if (error_.empty()) {
            writeLine(text);
        }
    }

    void setError(std::string error, std::uint64_t offset) {
        if (error_.empty()) {
            error_ = std::move(error);
            errorOffset_ = offset;
        }
    }

    // The document read again into a tree and written from it; offsets count from start.
    void reprint(std::string_view text, std::uint64_t start) {
        reprintStart_ = start;
        VLJsonStreamParserAdapter adapter;
        adapter.setDelegate(this);
        VLJsonStreamParser parser;
        parser.setDelegate(&adapter);
        parser.parse(text);
        reprintStart_ = 0;
    }

  private:
    void print(const Value& document, std::uint64_t offset) {
        ++documents_;
        if (!error_.empty()) {
            return;
        }
        offset += reprintStart_;
        VLJsonStreamWriter writer;
        writer.setHumanReadable(options_.pretty);
        writer.setSortKeys(options_.sortKeys);
        if (!writer.writeValue(document)) {
            setError(writer.error(), offset);
            return;
        }
        writeLine(std::string_view(writer.data().data(), writer.data().size()));
    }

    const JsonOptions& options_;
    std::string error_;
    std::uint64_t errorOffset_ = 0;
    std::uint64_t reprintStart_ = 0;
    std::size_t documents_ = 0;
};

// Where in the input a problem lies, for the messages: "in.json at byte 12".
std::string at(const JsonOptions& options, std::uint64_t offset) {
    const bool stdinInput = options.file.empty() || options.file == "-";
    return (stdinInput ? std::string("standard input") : options.file) + " at byte " +
           std::to_string(offset);
}

// The first byte of text that is not whitespace as the tokeniser counts it, or npos.
std::size_t firstNonWhitespace(std::string_view text) {
    const auto* found = std::find_if(text.begin(), text.end(),
                                     [](char c) { return c != ' ' && (c < '\t' || c > '\r'); });
    return found == text.end() ? std::string_view::npos
                               : static_cast<std::size_t>(found - text.begin());
}

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

    // Without --sort-keys, no tree: the events are copied to the writer. The bytes of the
    // document being read are kept, so that one whose object repeats a key (which the
    // tree writes once, with its last value) can be read again into a tree.
    const bool copying = !options.sortKeys;
    std::string text;                 // input from textStart on
    std::uint64_t textStart = 0;      // stream offset of text's first byte
    std::uint64_t documentStart = 0;  // stream offset where the current document's text begins
    VLJsonStreamCopier copier([&](std::string_view written) {
        const std::uint64_t end = parser.offset() + 1;
        if (!copier.error().empty()) {
            printer.setError(copier.error(), end - 1);
        } else if (copier.sawRepeatedKey()) {
            printer.reprint(
                std::string_view(text).substr(documentStart - textStart, end - documentStart),
                documentStart);
        } else {
            printer.printText(written);
        }
        documentStart = end;
    });
    copier.setHumanReadable(options.pretty);
    if (copying) {
        parser.setDelegate(&copier);
    }

    std::vector<char> chunk(kChunkSize);
    std::uint64_t total = 0;
    VLJsonParserStatus status = VLJsonParserStatus::WaitingForData;
    std::string_view rest;  // read but not parsed: what follows the first document
    for (;;) {
        const std::size_t read = std::fread(chunk.data(), 1, chunk.size(), input);
        if (read == 0) {
            break;
        }
        const std::string_view bytes(chunk.data(), read);
        total += read;
        if (status != VLJsonParserStatus::WaitingForData) {
            rest = bytes;
        } else {
            if (copying) {
                // Bytes before the current document are dropped once they are the larger
                // part, so the kept text stays within twice the document.
                const auto done = static_cast<std::size_t>(documentStart - textStart);
                if (done > text.size() / 2) {
                    text.erase(0, done);
                    textStart = documentStart;
                }
                text.append(bytes);
            }
            status = parser.parse(bytes);
            if (!printer.error().empty()) {
                fail(at(options, printer.errorOffset()) + ": " + printer.error());
            }
            if (status == VLJsonParserStatus::Error) {
                fail(at(options, parser.offset()) + ": " + parser.error());
            }
            // The closing bracket is one byte, so it came with this chunk.
            if (status == VLJsonParserStatus::Complete) {
                rest = bytes.substr(parser.offset() + 1 - (total - read));
            }
        }
        if (const std::size_t extra = firstNonWhitespace(rest); extra != std::string_view::npos) {
            fail(at(options, total - rest.size() + extra) +
                 ": text after the first document (--multi reads several)");
        }
        rest = {};
    }
    if (std::ferror(input) != 0) {
        fail("cannot read " + (options.file.empty() ? std::string("input") : options.file) + ": " +
             std::strerror(errno));
    }
    if (status == VLJsonParserStatus::WaitingForData &&
        (parser.depth() > 0 || parser.hasPendingInput() ||
         (!options.multi && printer.documents() == 0))) {
        fail(at(options, total) + ": Unexpected end of input");
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
                      "Read several top-level documents one after another (without it, text "
                      "after the first document is an error)");
    command->add_option("FILE", options->file, "The input (standard input when absent or -)");
    command->callback([options] { runJson(*options); });
}

}  // namespace velmora::tool

#include "bench/json/JsonPeers.h"

#include <cstring>
#include <nlohmann/json.hpp>

#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <yajl_gen.h>
#include <yajl_parse.h>
#include <yajl_tree.h>

namespace velmora::bench {

namespace {

struct RapidJsonCounter : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, RapidJsonCounter> {
    bool Default() {
        ++events;
        return true;
    }
    std::size_t events = 0;
};

extern "C" {
int yajlNull(void* ctx) {
    ++*static_cast<std::size_t*>(ctx);
    return 1;
}
int yajlBool(void* ctx, int) {
    return yajlNull(ctx);
}
int yajlInteger(void* ctx, long long) {
    return yajlNull(ctx);
}
int yajlDouble(void* ctx, double) {
    return yajlNull(ctx);
}
int yajlString(void* ctx, const unsigned char*, size_t) {
    return yajlNull(ctx);
}
int yajlEnd(void* ctx) {
    return yajlNull(ctx);
}
}

const yajl_callbacks kYajlCallbacks = {yajlNull, yajlBool,   yajlInteger, yajlDouble,
                                       nullptr,  yajlString, yajlEnd,     yajlString,
                                       yajlEnd,  yajlEnd,    yajlEnd};

struct NlohmannCounter : nlohmann::json_sax<nlohmann::json> {
    bool null() override { return ++events, true; }
    bool boolean(bool) override { return ++events, true; }
    bool number_integer(number_integer_t) override { return ++events, true; }
    bool number_unsigned(number_unsigned_t) override { return ++events, true; }
    bool number_float(number_float_t, const string_t&) override { return ++events, true; }
    bool string(string_t&) override { return ++events, true; }
    bool binary(binary_t&) override { return ++events, true; }
    bool start_object(std::size_t) override { return ++events, true; }
    bool key(string_t&) override { return ++events, true; }
    bool end_object() override { return ++events, true; }
    bool start_array(std::size_t) override { return ++events, true; }
    bool end_array() override { return ++events, true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }
    std::size_t events = 0;
};

class NlohmannDocument : public PeerDocument {
  public:
    explicit NlohmannDocument(const std::string& text) : json_(nlohmann::json::parse(text)) {}
    std::size_t write() const override { return json_.dump().size(); }

  private:
    nlohmann::json json_;
};

class RapidJsonDocument : public PeerDocument {
  public:
    explicit RapidJsonDocument(const std::string& text) { document_.Parse(text.c_str()); }
    std::size_t write() const override {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document_.Accept(writer);
        return buffer.GetSize();
    }

  private:
    rapidjson::Document document_;
};

void yajlWrite(yajl_gen gen, yajl_val value) {
    if (YAJL_IS_OBJECT(value)) {
        yajl_gen_map_open(gen);
        for (std::size_t i = 0; i < value->u.object.len; ++i) {
            const char* key = value->u.object.keys[i];
            yajl_gen_string(gen, reinterpret_cast<const unsigned char*>(key), std::strlen(key));
            yajlWrite(gen, value->u.object.values[i]);
        }
        yajl_gen_map_close(gen);
    } else if (YAJL_IS_ARRAY(value)) {
        yajl_gen_array_open(gen);
        for (std::size_t i = 0; i < value->u.array.len; ++i) {
            yajlWrite(gen, value->u.array.values[i]);
        }
        yajl_gen_array_close(gen);
    } else if (YAJL_IS_STRING(value)) {
        const char* s = value->u.string;
        yajl_gen_string(gen, reinterpret_cast<const unsigned char*>(s), std::strlen(s));
    } else if (YAJL_IS_INTEGER(value)) {
        yajl_gen_integer(gen, YAJL_GET_INTEGER(value));
    } else if (YAJL_IS_DOUBLE(value)) {
        yajl_gen_double(gen, YAJL_GET_DOUBLE(value));
    } else if (YAJL_IS_NUMBER(value)) {
        const char* s = YAJL_GET_NUMBER(value);
        yajl_gen_number(gen, s, std::strlen(s));
    } else if (YAJL_IS_TRUE(value)) {
        yajl_gen_bool(gen, 1);
    } else if (YAJL_IS_FALSE(value)) {
        yajl_gen_bool(gen, 0);
    } else {
        yajl_gen_null(gen);
    }
}

class YajlDocument : public PeerDocument {
  public:
    explicit YajlDocument(const std::string& text)
        : tree_(yajl_tree_parse(text.c_str(), nullptr, 0)) {}
    ~YajlDocument() override { yajl_tree_free(tree_); }
    YajlDocument(const YajlDocument&) = delete;
    YajlDocument& operator=(const YajlDocument&) = delete;
    std::size_t write() const override {
        yajl_gen gen = yajl_gen_alloc(nullptr);
        yajlWrite(gen, tree_);
        const unsigned char* buffer = nullptr;
        std::size_t length = 0;
        yajl_gen_get_buf(gen, &buffer, &length);
        yajl_gen_free(gen);
        return length;
    }

  private:
    yajl_val tree_;
};

}  // namespace

std::size_t rapidJsonSaxEvents(const std::string& text) {
    RapidJsonCounter counter;
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    return reader.Parse(stream, counter) ? counter.events : 0;
}

std::size_t yajlEvents(const std::string& text) {
    std::size_t events = 0;
    yajl_handle handle = yajl_alloc(&kYajlCallbacks, nullptr, &events);
    const bool ok = yajl_parse(handle, reinterpret_cast<const unsigned char*>(text.data()),
                               text.size()) == yajl_status_ok &&
                    yajl_complete_parse(handle) == yajl_status_ok;
    yajl_free(handle);
    return ok ? events : 0;
}

std::size_t nlohmannSaxEvents(const std::string& text) {
    NlohmannCounter counter;
    return nlohmann::json::sax_parse(text, &counter) ? counter.events : 0;
}

std::size_t nlohmannParse(const std::string& text) {
    return nlohmann::json::parse(text).size();
}

std::size_t rapidJsonDomParse(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    return document.HasParseError() ? 0 : 1;
}

std::size_t yajlTreeParse(const std::string& text) {
    yajl_val tree = yajl_tree_parse(text.c_str(), nullptr, 0);
    const std::size_t result = tree != nullptr ? 1 : 0;
    yajl_tree_free(tree);
    return result;
}

std::unique_ptr<PeerDocument> nlohmannDocument(const std::string& text) {
    return std::make_unique<NlohmannDocument>(text);
}

std::unique_ptr<PeerDocument> rapidJsonDocument(const std::string& text) {
    return std::make_unique<RapidJsonDocument>(text);
}

std::unique_ptr<PeerDocument> yajlDocument(const std::string& text) {
    return std::make_unique<YajlDocument>(text);
}

}  // namespace velmora::bench

#include "tools/velmora/DiffCommandSupport.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include <fmt/format.h>

#include "Velmora/collections/FetchedRecord.h"

#include "tools/velmora/DateCommandSupport.h"

namespace velmora::tool {
namespace {

const char* kTimeOfFetch = "timeOfFetch";
const char* kSections = "sections";
const char* kSection = "section";
const char* kItems = "items";
const char* kId = "id";
const char* kModified = "modified";

// A date's reading in UTC on the proleptic Gregorian calendar, as the ISO reader takes
// it, to the nearest millisecond.
struct UtcReading {
    int year;
    unsigned month;
    unsigned day;
    std::int64_t hour;
    std::int64_t minute;
    std::int64_t second;
    std::int64_t millisecond;
};

UtcReading utcReadingOf(Date date) {
    using namespace std::chrono;
    constexpr std::int64_t kMillisPerDay = 86'400'000;
    const auto millis =
        static_cast<std::int64_t>(std::llround(date.timeIntervalSince1970() * 1000));
    const std::int64_t dayCount = millis / kMillisPerDay - (millis % kMillisPerDay < 0 ? 1 : 0);
    const std::int64_t inDay = millis - dayCount * kMillisPerDay;
    const year_month_day ymd{sys_days{days{dayCount}}};
    return {static_cast<int>(ymd.year()),
            static_cast<unsigned>(ymd.month()),
            static_cast<unsigned>(ymd.day()),
            inDay / 3'600'000,
            inDay / 60'000 % 60,
            inDay / 1000 % 60,
            inDay % 1000};
}

// Reads one file's document, remembering the first fault with its JSON path.
class ListReader {
  public:
    explicit ListReader(std::string& error) : error_(error) {}

    std::shared_ptr<FetchedResultList> read(const Value& document) {
        if (!document.isDictionary()) {
            return fail("$", "expected an object");
        }
        auto list = FetchedResultList::create();
        const Value fetched = document[Value(kTimeOfFetch)];
        if (!fetched.isNil()) {
            const std::optional<Date> date = dateOf(fetched, fmt::format("$.{}", kTimeOfFetch));
            if (!date) {
                return nullptr;
            }
            list->setTimeOfFetch(date);
        }
        const Value sections = document[Value(kSections)];
        if (sections.isNil()) {
            return fail(fmt::format("$.{}", kSections), "missing");
        }
        if (!sections.isArray()) {
            return fail(fmt::format("$.{}", kSections), "expected an array");
        }
        const auto sectionObjects = list->allFetchedSections();
        const auto sectionItems = list->allFetchedSectionItems();
        for (std::size_t s = 0; s < sections.count(); ++s) {
            const std::string path = fmt::format("$.{}[{}]", kSections, s);
            const Value& section = (*sections.asArray())[s];
            if (!section.isDictionary()) {
                return fail(path, "expected an object");
            }
            const Value name = section[Value(kSection)];
            if (name.isNil()) {
                return fail(path + "." + kSection, "missing");
            }
            const Value items = section[Value(kItems)];
            if (!items.isArray()) {
                return fail(path + "." + kItems, items.isNil() ? "missing" : "expected an array");
            }
            Array records;
            records.reserve(items.count());
            for (std::size_t i = 0; i < items.count(); ++i) {
                Value record =
                    itemOf((*items.asArray())[i], fmt::format("{}.{}[{}]", path, kItems, i));
                if (record.isNil()) {
                    return nullptr;
                }
                records.push_back(std::move(record));
            }
            sectionObjects->addObject(name);
            sectionItems->addObject(Value(std::move(records)));
        }
        return list;
    }

  private:
    std::shared_ptr<FetchedResultList> fail(const std::string& path, std::string_view what) {
        error_ = fmt::format("{}: {}", path, what);
        return nullptr;
    }

    std::optional<Date> dateOf(const Value& value, const std::string& path) {
        if (!value.isString()) {
            fail(path, "expected an ISO 8601 date string");
            return std::nullopt;
        }
        std::string why;
        std::optional<Date> date = parseIsoDate(*value.asString(), why);
        if (!date) {
            fail(path, why);
            return std::nullopt;
        }
        // Far beyond the years also keeps the conversion below clear of overflow.
        const double seconds = date->timeIntervalSince1970();
        if (!(std::abs(seconds) < 1e12) || utcReadingOf(*date).year < kFirstYear ||
            utcReadingOf(*date).year > kLastYear) {
            fail(path, fmt::format("date '{}' outside the years {} to {} (UTC)", *value.asString(),
                                   kFirstYear, kLastYear));
            return std::nullopt;
        }
        return date;
    }

    Value itemOf(const Value& item, const std::string& path) {
        if (item.isString() || (item.isNumber() && !item.isBool())) {
            return Value(std::make_shared<FetchedRecord>(item, std::nullopt, item));
        }
        if (!item.isDictionary()) {
            fail(path, "expected a string, a number or an object with an \"id\"");
            return Value();
        }
        const Value id = item[Value(kId)];
        if (id.isNil() || id.isNull()) {
            fail(path, "an item object without \"id\"");
            return Value();
        }
        std::optional<Date> modified;
        if (const Value stamp = item[Value(kModified)]; !stamp.isNil()) {
            modified = dateOf(stamp, path + "." + kModified);
            if (!modified) {
                return Value();
            }
        }
        return Value(std::make_shared<FetchedRecord>(id, modified, item));
    }

    std::string& error_;
};

Value indexesOf(const IndexSet& indexes) {
    Array values;
    for (const std::size_t index : indexes) {
        values.emplace_back(static_cast<std::uint64_t>(index));
    }
    return Value(std::move(values));
}

Value pathsOf(const std::vector<IndexPath>& paths) {
    Array values;
    for (const IndexPath& path : paths) {
        values.push_back(Value(Array{Value(static_cast<std::uint64_t>(path.row)),
                                     Value(static_cast<std::uint64_t>(path.section))}));
    }
    return Value(std::move(values));
}

}  // namespace

std::shared_ptr<FetchedResultList> listFromJson(const Value& document, std::string& error) {
    return ListReader(error).read(document);
}

Value listToJson(FetchedResultList& list) {
    Dictionary document;
    if (const std::optional<Date> fetched = list.timeOfFetch()) {
        document.set(kTimeOfFetch, isoUtcText(*fetched));
    }
    const auto sections = list.allFetchedSections();
    const auto sectionItems = list.allFetchedSectionItems();
    Array written;
    for (std::size_t s = 0; s < sections->count(); ++s) {
        Array items;
        if (const Array* records = FetchedResultList::itemsOfSection(*sectionItems, s)) {
            for (const Value& item : *records) {
                const auto record = item.asObject<FetchedRecord>();
                items.push_back(record ? record->fields() : item);
            }
        }
        written.push_back(
            Dictionary{{kSection, sections->objectAtIndex(s)}, {kItems, std::move(items)}});
    }
    document.set(kSections, std::move(written));
    return Value(std::move(document));
}

Value diffToJson(const FetchedResultListDiff& diff) {
    return Dictionary{
        {"insertedSections", indexesOf(diff.insertedSections())},
        {"deletedSections", indexesOf(diff.deletedSections())},
        {"movedSections", Dictionary{{"from", indexesOf(diff.updateAndDeleteSection())},
                                     {"to", indexesOf(diff.updateAndInsertSection())}}},
        {"insertedRows", pathsOf(diff.insertedRows())},
        {"deletedRows", pathsOf(diff.deletedRows())},
        {"didAnythingChange", diff.didAnythingChange()},
        {"didOnlySectionsRearrange", diff.didOnlySectionsRearrange()},
        {"description", diff.description()},
    };
}

std::string isoUtcText(Date date) {
    const UtcReading utc = utcReadingOf(date);
    // ISO 8601's BC years: year 0 is 1 BC, earlier ones carry a minus sign.
    std::string text =
        fmt::format("{}{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", utc.year < 0 ? "-" : "",
                    std::abs(utc.year), utc.month, utc.day, utc.hour, utc.minute, utc.second);
    if (utc.millisecond != 0) {
        text += fmt::format(".{:03}", utc.millisecond);
    }
    return text + "Z";
}

}  // namespace velmora::tool

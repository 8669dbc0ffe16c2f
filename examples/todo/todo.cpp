// todo: loads tasks from a JSON file, classifies their due dates against today, sorts them
// by due date, keeps them in a result list with one section per class, prints it, and
// saves the tasks back as JSON with each one's class. A consumer of the installed Velmora,
// built with CMake or pkg-config.
//
//   todo tasks.json [out.json]
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/collections/NSMutableLockArray.h"
#include "Velmora/dates/NSDate+Extras.h"
#include "Velmora/json/VLJson.h"
#include "Velmora/platform/foundation/Clock.h"
#include "Velmora/platform/foundation/SortDescriptor.h"

using namespace velmora;

namespace {

// "YYYY-MM-DD", or the words today, tomorrow and yesterday; nothing for anything else.
std::optional<Date> dueDate(const Value& due) {
    const std::string* text = due.asString();
    if (text == nullptr) {
        return std::nullopt;
    }
    const Date now = Clock::now();
    if (*text == "today") {
        return dateJustAtStartOfDay(now);
    }
    if (*text == "tomorrow") {
        return getDateByAddingDays(now, 1, 0, 0, 0, 0);
    }
    if (*text == "yesterday") {
        return getDateByAddingDays(now, -1, 0, 0, 0, 0);
    }
    int year = 0, month = 0, day = 0;
    if (std::sscanf(text->c_str(), "%4d-%2d-%2d", &year, &month, &day) != 3) {
        return std::nullopt;
    }
    return getDateByUsingDay(day, month, year);
}

// The sections of the list, in the order they are shown.
const char* const kClasses[] = {"overdue", "today", "tomorrow", "this month", "later", "someday"};

std::string classify(std::optional<Date> due) {
    if (!due) {
        return "someday";
    }
    if (isDateToday(*due)) {
        return "today";
    }
    if (isDateTomorrow(*due)) {
        return "tomorrow";
    }
    if (isDateBeforeToday(*due)) {
        return "overdue";
    }
    return isDateThisMonth(*due) ? "this month" : "later";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: todo TASKS.json [OUT.json]\n";
        return 2;
    }
    std::ifstream in(argv[1]);
    std::stringstream text;
    text << in.rdbuf();
    std::string error;
    const std::optional<Value> document = parseJson(text.str(), &error);
    if (!in || !document || document->asArray() == nullptr) {
        std::cerr << "todo: cannot read " << argv[1] << ": "
                  << (error.empty() ? "not an array of tasks" : error) << "\n";
        return 1;
    }

    NSMutableLockArray tasks;
    for (const Value& task : *document->asArray()) {
        Dictionary* fields = task.asDictionary();
        if (fields == nullptr) {
            continue;
        }
        const std::optional<Date> due = dueDate(fields->get("due"));
        fields->set("class", Value(classify(due)));
        // Tasks without a date sort last.
        fields->set("dueTime", Value(due ? due->timeIntervalSince1970() : 1e300));
        tasks.lockAddObject(task);
    }
    const SortDescriptor byDue[] = {{"dueTime", true}};
    tasks.lockSortUsingDescriptors(byDue);

    const Array sorted = tasks.lockCreateArrayCopy();
    const auto list = FetchedResultList::create();
    for (const char* name : kClasses) {
        Array items;
        for (const Value& task : sorted) {
            if (task.asDictionary()->get("class").stringValue() == name) {
                items.push_back(task);
            }
        }
        if (!items.empty()) {
            list->allFetchedSections()->lockAddObject(Value(name));
            list->allFetchedSectionItems()->lockAddObject(Value(std::move(items)));
        }
    }

    Value saved = Value::makeArray();
    const auto sections = list->allFetchedSections()->lockCreateArrayCopy();
    const auto sectionItems = list->allFetchedSectionItems();
    for (std::size_t section = 0; section < sections.size(); ++section) {
        std::printf("%s\n", sections[section].stringValue().c_str());
        const Array* items = FetchedResultList::itemsOfSection(*sectionItems, section);
        if (items == nullptr) {
            continue;
        }
        for (const Value& task : *items) {
            Dictionary& fields = *task.asDictionary();
            std::printf("  %s\n", fields.get("title").stringValue().c_str());
            fields.remove("dueTime");
            saved.asArray()->push_back(task);
        }
    }
    std::printf("%zu tasks in %zu sections\n", list->allFetchedItemsCount(), sections.size());
    if (argc == 3) {
        const std::optional<std::string> json =
            writeJson(saved, {.humanReadable = true, .sortKeys = true}, &error);
        std::ofstream out(argv[2]);
        if (!json || !(out << *json << "\n")) {
            std::cerr << "todo: cannot write " << argv[2] << ": " << error << "\n";
            return 1;
        }
    }
    return 0;
}

#pragma once
// What `velmora diff` needs around the result-list diff: result lists read from and
// written as JSON, and the diff written as JSON.
//
// A list file:
//   {"timeOfFetch": "2024-03-10T12:00:00Z",
//    "sections": [{"section": VALUE, "items": [ITEM, ...]}, ...]}
// VALUE is any JSON value. An ITEM is a string or a number (equal by value) or an object
// with an "id" (equal by id), an optional "modified" ISO 8601 date and any other fields,
// which travel along. Every item is read into a FetchedRecord whose fields are the item's
// JSON as written, so that writing a list back gives each item exactly as it came.
//
// Thread safety: call from the tool's main thread only.
//
//   std::string error;
//   auto list = listFromJson(*parseJson(text), error);  // nullptr: error is "$.sections: ..."
//   std::string out = *writeJson(listToJson(*list));

#include <memory>
#include <string>

#include "Velmora/collections/FetchedResultList.h"
#include "Velmora/collections/FetchedResultListDiff.h"
#include "Velmora/platform/foundation/Date.h"
#include "Velmora/platform/foundation/Value.h"

namespace velmora::tool {

// The list a parsed file describes; nullptr, with error set to "JSONPATH: what was
// wrong" (such as "$.sections[1].items[0]: an item object without \"id\""), otherwise.
std::shared_ptr<FetchedResultList> listFromJson(const Value& document, std::string& error);

// The list in the file format; items written as they were read.
Value listToJson(FetchedResultList& list);

// {"insertedSections": [...], "deletedSections": [...],
//  "movedSections": {"from": [old indexes], "to": [new indexes]},
//  "insertedRows": [[row, section], ...], "deletedRows": [[row, section], ...],
//  "didAnythingChange": bool, "didOnlySectionsRearrange": bool, "description": "..."}
Value diffToJson(const FetchedResultListDiff& diff);

// "2024-03-10T12:00:00Z" (proleptic Gregorian, UTC; "-0044-03-15..." for BC years), with
// milliseconds when the date has a fraction of a second (rounded to the nearest).
std::string isoUtcText(Date date);

}  // namespace velmora::tool

#include "Velmora/collections/FetchedResultListDiff.h"

#include <fmt/format.h>

namespace velmora {

bool FetchedResultListDiff::didAnythingChange() const {
    return !insertedSections_.empty() || !deletedSections_.empty() ||
           !insertedRowsPerSection_.empty() || !deletedRowsPerSection_.empty() ||
           !updateAndRemoveRowsPerSection_.empty() || !updateAndInsertSection_.empty() ||
           !updateAndDeleteSection_.empty();
}

bool FetchedResultListDiff::didOnlySectionsRearrange() const {
    return insertedSections_.empty() && deletedSections_.empty() &&
           insertedRowsPerSection_.empty() && deletedRowsPerSection_.empty() &&
           updateAndRemoveRowsPerSection_.empty() && !updateAndInsertSection_.empty() &&
           !updateAndDeleteSection_.empty();
}

std::string FetchedResultListDiff::description() const {
    return fmt::format(
        "FETCHED DIFF: [Sections To Reload: {}], [Added Sections: {}], [Removed Sections: {}], "
        "[Updated and Removed Sections: {}], [Updated and Added Sections: {}], [Added Rows: {}], "
        "[Removed Rows: {}], [Removed Rows Per Section: {}], [Added Rows Per Section: {}], "
        "[Updated and Removed Rows Per Section: {}], [Updated and Added Rows per Section: {}]",
        modifiedSections_.count(), insertedSections_.count(), deletedSections_.count(),
        updateAndDeleteSection_.count(), updateAndInsertSection_.count(), insertedRows_.size(),
        deletedRows_.size(), deletedRowsPerSection_.size(), insertedRowsPerSection_.size(),
        updateAndRemoveRowsPerSection_.size(), updateAndAddRowsPerSection_.size());
}

}  // namespace velmora

#include "Velmora/json/VLJsonStreamCopier.h"

#include <utility>

#include "Velmora/json/VLJsonNumber.h"

namespace velmora {

VLJsonStreamCopier::VLJsonStreamCopier(DocumentCallback onDocument)
    : onDocument_(std::move(onDocument)) {}

bool VLJsonStreamCopier::copying() {
    if (depth_ == 0) {
        writer_ = std::make_unique<VLJsonStreamWriter>();
        writer_->setHumanReadable(humanReadable_);
        error_.clear();
        sawRepeatedKey_ = false;
    }
    return error_.empty() && !sawRepeatedKey_;
}

void VLJsonStreamCopier::check(bool written) {
    if (!written && error_.empty()) {
        error_ = writer_->error();
    }
}

void VLJsonStreamCopier::parserFoundObjectStart(VLJsonStreamParser&) {
    if (copying()) {
        check(writer_->writeObjectOpen());
    }
    if (keys_.size() <= depth_) {
        keys_.resize(depth_ + 1);
    }
    keys_[depth_].clear();
    ++depth_;
}

void VLJsonStreamCopier::parserFoundArrayStart(VLJsonStreamParser&) {
    if (copying()) {
        check(writer_->writeArrayOpen());
    }
    ++depth_;
}

void VLJsonStreamCopier::parserFoundObjectKey(VLJsonStreamParser&, std::string_view key) {
    if (!copying()) {
        return;
    }
    if (!keys_[depth_ - 1].emplace(key).second) {
        sawRepeatedKey_ = true;
        return;
    }
    check(writer_->writeString(key));
}

void VLJsonStreamCopier::close(bool written) {
    check(written);
    if (--depth_ == 0 && onDocument_) {
        onDocument_(writer_->data());
    }
}

void VLJsonStreamCopier::parserFoundObjectEnd(VLJsonStreamParser&) {
    keys_[depth_ - 1].clear();
    close(!copying() || writer_->writeObjectClose());
}

void VLJsonStreamCopier::parserFoundArrayEnd(VLJsonStreamParser&) {
    close(!copying() || writer_->writeArrayClose());
}

void VLJsonStreamCopier::parserFoundBoolean(VLJsonStreamParser&, bool value) {
    if (copying()) {
        check(writer_->writeBool(value));
    }
}

void VLJsonStreamCopier::parserFoundNull(VLJsonStreamParser&) {
    if (copying()) {
        check(writer_->writeNull());
    }
}

void VLJsonStreamCopier::parserFoundNumber(VLJsonStreamParser&, const VLJsonNumber& number) {
    if (copying()) {
        check(writer_->writeNumber(number.value()));
    }
}

void VLJsonStreamCopier::parserFoundString(VLJsonStreamParser&, std::string_view string) {
    if (copying()) {
        check(writer_->writeString(string));
    }
}

}  // namespace velmora

#pragma once
// A document of named text fields whose changes register their undo through the proxy,
// and a recorder of the undo notifications one manager posts.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/undo/SelectorTable.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora::testing {

class UndoTestDocument : public Object, public SelectorTarget {
  public:
    static std::shared_ptr<UndoTestDocument> make(VLMUndoManager& undo) {
        auto document = std::make_shared<UndoTestDocument>(undo);
        document->self_ = document;
        return document;
    }
    explicit UndoTestDocument(VLMUndoManager& undo) : undo_(undo) {}

    void set(const std::string& field, const std::string& value) {
        undo_.prepareWithInvocationTarget(self_.lock()).invoke("set:to:", field, fields[field]);
        fields[field] = value;
    }

    bool respondsToSelector(Selector selector) const override { return table().responds(selector); }
    Value performSelector(Selector selector, std::span<const Value> arguments) override {
        return table().perform(*this, selector, arguments);
    }

    std::map<std::string, std::string> fields;

  private:
    static const SelectorTable<UndoTestDocument>& table() {
        static const SelectorTable<UndoTestDocument> kTable{
            {"set:to:",
             [](UndoTestDocument& d, std::span<const Value> a) {
                 d.set(a[0].stringValue(), a[1].stringValue());
                 return Value();
             }},
            {"fail",
             [](UndoTestDocument&, std::span<const Value>) -> Value {
                 throw std::runtime_error("disk full");
             }},
        };
        return kTable;
    }

    VLMUndoManager& undo_;
    std::weak_ptr<UndoTestDocument> self_;
};

class UndoNotificationRecorder {
  public:
    explicit UndoNotificationRecorder(const VLMUndoManager& undo)
        : observation_(NotificationCenter::defaultCenter().addObserver(
              "", &undo, [this](const Notification& n) {
                  names.push_back(n.name);
                  userInfos.push_back(n.userInfo);
              })) {}

    // The names without the checkpoints, which come between nearly everything.
    std::vector<std::string> withoutCheckpoints() const {
        std::vector<std::string> kept;
        for (const std::string& name : names) {
            if (name != NSUndoManagerCheckpointNotification) {
                kept.push_back(name);
            }
        }
        return kept;
    }

    std::vector<std::string> names;
    std::vector<Value> userInfos;

  private:
    NotificationCenter::Observation observation_;
};

}  // namespace velmora::testing

#include "tools/velmora/UndoScript.h"

#include <memory>
#include <sstream>
#include <stdexcept>

#include "Velmora/platform/dispatch/RunLoop.h"
#include "Velmora/platform/foundation/NotificationCenter.h"
#include "Velmora/undo/SelectorTable.h"
#include "Velmora/undo/VLMUndoManager.h"

namespace velmora::tool {
namespace {

// A script line that cannot be run; the message already names the line.
class ScriptError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Named text fields, in the order they were first set; each change registers its undo.
class Document : public Object, public SelectorTarget {
  public:
    static std::shared_ptr<Document> make(VLMUndoManager& undo) {
        auto document = std::make_shared<Document>(undo);
        document->self_ = document;
        return document;
    }
    explicit Document(VLMUndoManager& undo) : undo_(undo) {}

    void set(const std::string& field, const std::string& value) {
        std::string& slot = field_(field);
        undo_.prepareWithInvocationTarget(self_.lock()).invoke("setField:to:", field, slot);
        slot = value;
    }

    std::string text() const {
        std::string text;
        for (const auto& [name, value] : fields_) {
            text += (text.empty() ? "" : ", ") + name + " = \"" + value + "\"";
        }
        return text.empty() ? "(empty)" : text;
    }

    bool respondsToSelector(Selector selector) const override { return table().responds(selector); }
    Value performSelector(Selector selector, std::span<const Value> arguments) override {
        return table().perform(*this, selector, arguments);
    }

  private:
    static const SelectorTable<Document>& table() {
        static const SelectorTable<Document> kTable{
            {"setField:to:", [](Document& d, std::span<const Value> a) {
                 d.set(a[0].stringValue(), a[1].stringValue());
                 return Value();
             }}};
        return kTable;
    }

    std::string& field_(const std::string& name) {
        for (auto& [key, value] : fields_) {
            if (key == name) {
                return value;
            }
        }
        return fields_.emplace_back(name, std::string()).second;
    }

    VLMUndoManager& undo_;
    std::weak_ptr<Document> self_;
    std::vector<std::pair<std::string, std::string>> fields_;
};

std::string describeTask(const VLMUndoTaskRef& task, int depth);

std::string describeGroup(const VLMUndoGroup& group, int depth) {
    std::string text = std::string(static_cast<std::size_t>(depth) * 2, ' ') + "group";
    if (!group.actionName().empty()) {
        text += " '" + group.actionName() + "'";
    }
    text += group.tasks().empty() ? " (empty)\n" : "\n";
    for (const VLMUndoTaskRef& task : group.tasks()) {
        text += describeTask(task, depth + 1);
    }
    return text;
}

std::string describeTask(const VLMUndoTaskRef& task, int depth) {
    if (const auto* group = dynamic_cast<const VLMUndoGroup*>(task.get())) {
        return describeGroup(*group, depth);
    }
    std::string text = std::string(static_cast<std::size_t>(depth) * 2, ' ');
    if (const auto* call = dynamic_cast<const VLMConcreteUndoTask*>(task.get())) {
        text += call->selector().name();
        for (const Value& argument : call->arguments()) {
            text += " \"" + argument.stringValue() + "\"";
        }
    }
    return text + "\n";
}

std::string describeStack(const char* name, const VLMUndoManager::Stack& stack) {
    std::string text = std::string(name) + " stack (" + std::to_string(stack.size()) +
                       (stack.empty() ? ")\n" : ", oldest first):\n");
    for (const VLMUndoGroupRef& group : stack) {
        text += describeGroup(*group, 1);
    }
    return text;
}

bool onOff(const std::string& word, std::size_t line) {
    if (word == "on" || word == "off") {
        return word == "on";
    }
    throw ScriptError("line " + std::to_string(line) + ": expected on or off, not '" + word + "'");
}

class ScriptRunner {
  public:
    ScriptRunner(std::vector<std::string> lines, bool notifications, std::ostream& out)
        : out_(out), lines_(std::move(lines)), document_(Document::make(undo_)) {
        if (notifications) {
            observation_ = NotificationCenter::defaultCenter().addObserver(
                "", &undo_, [this](const Notification& n) {
                    out_ << "notification: " << n.name;
                    if (const ObjectRef group = n.userInfo[VLMUndoManagerActionKey].asObject()) {
                        const auto* dropped = dynamic_cast<const VLMUndoGroup*>(group.get());
                        out_ << " (group '" << (dropped ? dropped->actionName() : "") << "')";
                    }
                    out_ << '\n';
                });
        }
    }

    // Runs the lines up to the next `pass`, then lets the loop finish its pass.
    void runPass() {
        try {
            while (next_ < lines_.size()) {
                const std::size_t number = ++next_;
                if (!runLine(lines_[number - 1], number)) {
                    RunLoop::main().post([this] { runPass(); });
                    return;
                }
            }
        } catch (const ScriptError& e) {
            error_ = e.what();
        } catch (const std::exception& e) {
            // The manager's misuse texts (InternalInconsistencyException), and whatever a
            // recorded call threw during undo or redo.
            error_ = "line " + std::to_string(next_) + ": " + e.what();
        }
        RunLoop::main().stop();
    }

    const std::string& error() const { return error_; }

  private:
    // False when the line ends the pass.
    bool runLine(const std::string& line, std::size_t number) {
        std::istringstream words(line);
        std::string command;
        if (!(words >> command) || command[0] == '#') {
            return true;
        }
        std::string argument;
        words >> argument;
        std::string rest;
        std::getline(words >> std::ws, rest);
        const auto need = [&](bool ok, const char* what) {
            if (!ok) {
                throw ScriptError("line " + std::to_string(number) + ": " + command + " " + what);
            }
        };
        if (command == "set") {
            need(!argument.empty(), "needs a field and a value");
            document_->set(argument, rest);
            return true;
        }
        need(rest.empty() || command == "name", "has too many words");
        if (command == "pass") {
            need(argument.empty(), "takes no argument");
            return false;
        }
        if (command == "name") {
            need(!argument.empty(), "needs an action name");
            undo_.setActionName(rest.empty() ? argument : argument + " " + rest);
        } else if (command == "levels") {
            need(!argument.empty() &&
                     argument.find_first_not_of("0123456789") == std::string::npos &&
                     argument.size() < 19,
                 "needs a whole number");
            undo_.setLevelsOfUndo(std::stoull(argument));
        } else if (command == "coalesce") {
            if (argument == "last" || argument == "all") {
                undo_.setCoalescingKind(argument == "last" ? VLMCoalesceLastTask
                                                           : VLMCoalesceAllMatchingTasks);
            } else if (onOff(argument, number)) {
                undo_.enableUndoTaskCoalescing();
            } else {
                undo_.disableUndoTaskCoalescing();
            }
        } else if (command == "group-by-event") {
            undo_.setGroupsByEvent(onOff(argument, number));
        } else {
            need(argument.empty(), "takes no argument");
            runPlain(command, number);
        }
        return true;
    }

    void runPlain(const std::string& command, std::size_t number) {
        if (command == "begin") {
            undo_.beginUndoGrouping();
        } else if (command == "end") {
            undo_.endUndoGrouping();
        } else if (command == "begin-single") {
            undo_.beginUndoGroupingUsingSingleGroup();
        } else if (command == "end-single") {
            undo_.endUndoGroupingUsingSingleGroup(true);
        } else if (command == "undo") {
            undo_.undo();
        } else if (command == "redo") {
            undo_.redo();
        } else if (command == "explode") {
            undo_.explodeTopUndoAction();
        } else if (command == "remove-target") {
            undo_.removeAllActionsWithTarget(document_);
        } else if (command == "print") {
            print();
        } else {
            throw ScriptError("line " + std::to_string(number) + ": unknown command '" + command +
                              "'");
        }
    }

    void print() {
        // Asked first: canRedo() posts a checkpoint, which --notifications prints.
        const std::string undoTitle = undo_.undoMenuItemTitle();
        const std::string redoTitle = undo_.redoMenuItemTitle();
        out_ << "document: " << document_->text() << '\n'
             << describeStack("undo", undo_.undoStack()) << describeStack("redo", undo_.redoStack())
             << "undo menu: " << undoTitle << '\n'
             << "redo menu: " << redoTitle << '\n'
             << "change count: " << undo_.changeCount() << '\n';
    }

    std::ostream& out_;
    std::vector<std::string> lines_;
    std::size_t next_ = 0;
    VLMUndoManager undo_;
    std::shared_ptr<Document> document_;
    NotificationCenter::Observation observation_;
    std::string error_;
};

}  // namespace

std::string runUndoScript(std::vector<std::string> lines, bool notifications, std::ostream& out) {
    ScriptRunner runner(std::move(lines), notifications, out);
    RunLoop::main().post([&runner] { runner.runPass(); });
    RunLoop::main().run();
    return runner.error();
}

}  // namespace velmora::tool

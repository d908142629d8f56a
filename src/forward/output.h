// Another system that the live data go to. Command line and window build its entry from what stands here.
#pragma once

#include <QCoroTask>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "base/outcome.h"
#include "base/setting.h"
#include "forward/output_state.h"

namespace corvane {

class Operator;
class ReadingsSink;
class StatusBoard;

/// What an output is called, and where. Texts that are not there are empty.
struct OutputNames {
    const char* word;          ///< in commands, and its key in the data of `forward status`: "b"
    const char* name;          ///< in texts: "TCP Server B"
    const char* title = "";    ///< over its section of the window, where that is not the name
    const char* group = "";    ///< key of the list that the data of several alike stand in: "servers"
    const char* log = "";      ///< over its log box
    bool ownCommands = false;  ///< `get url`, rather than `forward set get url`
};

/// One of its settings as people meet it: a word of the command line, an entry or a switch of the window.
struct OutputChoice {
    const Setting* setting;
    const char* word;               ///< `forward set b WORD`; of a switch, the word that turns it on
    const char* offWord = nullptr;  ///< of a switch: the word that turns it off
    const char* argument = "";      ///< what the value is called in texts: "PORT"
    const char* label = nullptr;    ///< in the window; null: not shown there
    const char* hint = "";          ///< what stands in the empty entry
};

/// Something that people can have it do. Either `atOnce` or `awaited` is set; what is awaited is run as a
/// command is, one at a time.
struct OutputAction {
    const char* word;       ///< in commands: "listen"
    QString caption;        ///< of its button
    bool offered = true;    ///< now, by a button; a command may ask for it at any time
    const char* done = "";  ///< what is told when it has succeeded, where that is more than the status
    std::function<Outcome()> atOnce = {};
    std::function<QCoro::Task<Outcome>(Operator& op)> awaited = {};
};

/// What `forward status` tells of an output.
struct OutputStatus {
    QStringList lines;
    QJsonObject data;
};

/// An output costs capture and other outputs nothing, however long what it talks to is away. It follows its
/// settings by itself.
class Output {
public:
    virtual ~Output() = default;

    [[nodiscard]] virtual const OutputNames& Names() const = 0;

    /// All that it keeps in the settings.
    [[nodiscard]] virtual std::span<const Setting> Settings() const = 0;

    /// In the order in which they are shown.
    [[nodiscard]] virtual std::span<const OutputChoice> Choices() const = 0;

    /// Where readings go in; null where it takes none, or asks for them itself.
    [[nodiscard]] virtual ReadingsSink* Sink() { return nullptr; }

    /// Begins where it is switched on, and has not begun.
    virtual void StartUp() {}

    /// The program ends: lets go of the other side without waiting for it.
    virtual void Close() {}

    [[nodiscard]] virtual bool Enabled() const = 0;
    [[nodiscard]] virtual OutputState Standing() const = 0;

    /// The state in words, and what else there is to say about it.
    [[nodiscard]] virtual QString StateText() const { return OutputStateText(Standing()); }
    [[nodiscard]] virtual QString Notice() const { return {}; }

    /// Why what was just asked for cannot be had; empty where nothing is wrong.
    [[nodiscard]] virtual QString Problem() const { return {}; }

    /// What is its own in `forward status`: the first line, further ones, and the data.
    [[nodiscard]] virtual OutputStatus Status() const = 0;

    /// The last requests, results and the like; null where there is no log box.
    [[nodiscard]] virtual const StatusBoard* Log() const { return nullptr; }

    /// Always the same ones in the same order; as many are offered at any time.
    [[nodiscard]] virtual std::vector<OutputAction> Actions() { return {}; }

    [[nodiscard]] QString Name() const { return QString::fromLatin1(Names().name); }
};

/// "on" or "off".
[[nodiscard]] QString OnOff(bool on);

/// What `forward status` tells of one output in all: its own, whether it is enabled, and the end of its log.
[[nodiscard]] OutputStatus FullStatus(const Output& output);

/// The outputs of a program, in the order in which they are shown.
class OutputList {
public:
    /// The output must live as long as this.
    void Add(Output& output) { all_.push_back(&output); }

    /// Keeps one that was added, and that nobody else owns.
    void Own(std::unique_ptr<Output> output) { owned_.push_back(std::move(output)); }

    [[nodiscard]] std::span<Output* const> All() const { return all_; }

    /// The output of a word, in any case of letters; null where there is none.
    [[nodiscard]] Output* Find(const QString& word) const;

    /// What `forward status` tells of all.
    [[nodiscard]] OutputStatus Status() const;

private:
    std::vector<std::unique_ptr<Output>> owned_;
    std::vector<Output*> all_;
};

}  // namespace corvane

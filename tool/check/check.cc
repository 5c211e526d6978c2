#include "check/check.h"

#include <cstdint>
#include <functional>

#include "check/checker.h"
#include "payload/labelled.h"
#include "terminal/error.h"
#include "terminal/format.h"
#include "terminal/input.h"
#include "terminal/output.h"
#include "terminal/report.h"
#include "wire/delimited.h"

namespace ovix::tool {
namespace {

class Run {
 public:
  Run(const Contracts& contracts, const Checking& options)
      : contracts_(contracts), options_(options), checker_(contracts) {
    json_.BeginObject().Key("findings").BeginArray();
  }

  void CheckFile(const std::string& file) {
    Input input(file, options_.encoding);
    if (!options_.delimited) {
      ++messages_;
      return Say(input.name(), checker_.Check(input.PeekAll(), options_.type));
    }
    input.BeforeReading([this] { output_.Flush(); });
    DelimitedReader stream(input);
    try {
      for (std::string_view bytes; stream.Next(bytes);) {
        ++messages_;
        Say(input.name() + ": message " + std::to_string(stream.number()),
            checker_.Check(bytes, options_.type, stream.offset()));
      }
    } catch (const DamagedStream& damage) {
      Say(input.name(),
          {{"encoding", damage.place(), damage.problem() + "; what follows is not checked"}});
    }
  }

  void CheckLabelled(const LabelFile& file) {
    const auto read = ReadLabelled(contracts_, file);
    if (!read) return;
    const LabelledPayload& payload = *read;
    ++messages_;
    for (const LabelProblem& problem : payload.problems) {
      Say(file.name, {{problem.rule, "", problem.WithValues()}});
    }
    if (payload.Fatal() != nullptr) return;
    Say(payload.file, checker_.Check(payload.bytes, payload.type));
  }

  // An input that cannot be read does not stop the others.
  void Try(const std::function<void()>& check) {
    try {
      check();
    } catch (const Error& error) {
      has_bad_input_ = true;
      Report(error.what());
    }
  }

  Checked Finish() {
    if (options_.as_json) {
      json_.EndArray().Add("messages", static_cast<int64_t>(messages_)).EndObject();
      output_.Write(json_.Text());
    }
    output_.Finish();
    Report(Count(messages_, "message") + " checked, " + Count(findings_, "finding"));
    return has_bad_input_   ? Checked::kBadInput
           : findings_ != 0 ? Checked::kFindings
                            : Checked::kClean;
  }

 private:
  void Say(const std::string& input, const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) {
      ++findings_;
      if (options_.as_json) {
        json_.BeginObject()
            .Add("input", input)
            .Add("place", finding.place)
            .Add("rule", finding.rule)
            .Add("what", finding.what)
            .EndObject();
        output_.Write(json_.Take());
        continue;
      }
      output_.Write(OneLine(input + ": " + (finding.place.empty() ? "" : finding.place + ": ") +
                            finding.what + " [" + finding.rule + "]") +
                    "\n");
    }
  }

  const Contracts& contracts_;
  const Checking& options_;
  Checker checker_;
  Output output_;
  JsonWriter json_;
  uint64_t messages_ = 0;
  uint64_t findings_ = 0;
  bool has_bad_input_ = false;
};

}  // namespace

Checked Check(const Contracts& contracts, const Checking& options) {
  Run run(contracts, options);
  if (options.type != nullptr) {
    const std::vector<std::string> standard_input = {"-"};
    for (const auto& file : options.inputs.empty() ? standard_input : options.inputs) {
      run.Try([&] { run.CheckFile(file); });
    }
    return run.Finish();
  }
  for (const std::string& named : options.labelled) {
    run.Try([&] {
      for (const LabelFile& label : LabelsOf({named})) {
        run.Try([&] { run.CheckLabelled(label); });
      }
    });
  }
  return run.Finish();
}

}  // namespace ovix::tool

// Reads the text of a plan as it comes: what is not a plan's is passed over, and nothing of it is
// held.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/clips/clip_json.h"
#include "workflow/plan.h"

namespace clipchain {

inline constexpr const char* kPlanFormat = "clipchain plan";
inline constexpr int kPlanVersion = 1;

class PlanReader : public nlohmann::json_sax<Json> {
 public:
  // `firstNumber`: of the first job in the text. `take` is told of each job and `goOn` is asked now
  // and then; false ends the reading.
  PlanReader(std::size_t firstNumber, std::function<void(Job&&)> take, std::function<bool()> goOn);

  // Reads a whole text. What is wrong with it, as the end of a sentence; nothing, too, if it was
  // stopped.
  [[nodiscard]] Reason Read(const std::string& text);
  bool stopped() const { return stopped_; }

  bool null() override { return Value(Json()); }
  bool boolean(bool value) override { return Value(value); }
  bool number_integer(std::int64_t value) override { return Value(value); }
  bool number_unsigned(std::uint64_t value) override { return Value(value); }
  bool number_float(double value, const std::string&) override { return Value(value); }
  bool string(std::string& value) override { return Value(value); }
  // JSON has none.
  bool binary(Json::binary_t&) override { return false; }
  bool key(std::string& name) override;
  bool start_object(std::size_t) override { return Begin(Json::object()); }
  bool start_array(std::size_t) override { return Begin(Json::array()); }
  bool end_object() override { return End(); }
  bool end_array() override { return End(); }
  bool parse_error(std::size_t position, const std::string& token,
                   const nlohmann::detail::exception& error) override;

 private:
  enum class Level { kText, kDocument, kJobs, kJob, kInputs, kInput, kOutput, kAccepted, kOther };

  bool Value(const Json& value);
  bool Begin(const Json& empty);
  bool End();
  bool Take(const Json& value);
  bool TakeField(const Json& value);
  bool TakeJobField(const Json& value);
  Level LevelWithin(const Json& empty) const;
  bool EndJob();
  bool EndPath();
  bool TakeAccepted(const Json& value);
  bool EndAccepted();

  // Where the field at hand, or the element of the list at hand, stands: a JSON pointer.
  std::string Place() const;
  std::string JobPlace() const;
  void Fault(const std::string& place, const std::string& text);
  bool IsComplete(const std::set<std::string>& fields, const char* const (&names)[3],
                  const std::string& place);
  bool AsksToGoOn();

  const std::size_t firstNumber_;
  const std::function<void(Job&&)> take_;
  const std::function<bool()> goOn_;
  std::vector<Level> levels_ = {Level::kText};
  // Of what is passed over.
  std::size_t depth_ = 0;
  std::string key_;
  // Those of a plan that the document has.
  std::set<std::string> fields_;
  // And that the job at hand has.
  std::set<std::string> jobFields_;
  // The object of a path at hand.
  Json path_;
  Job job_;
  std::size_t jobs_ = 0;
  std::size_t events_ = 0;
  Reason fault_;
  bool stopped_ = false;
};

}  // namespace clipchain

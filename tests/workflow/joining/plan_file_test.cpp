#include "workflow/plan_file.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/allocation_meter.h"
#include "support/processor_time.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

Job JobTo(const std::string& output, std::vector<std::string> inputs) {
  Job job;
  job.output = output;
  job.inputs = std::move(inputs);
  job.date = MP4G::_tagSequenceTimedate{2024, 5, 6, 7, 8, 9};
  job.size = 7;
  return job;
}

JoinPlan PlanWithAllKinds() {
  JoinPlan plan;
  plan.jobs = {JobTo("/out/1.mp4", {"/a/1.mp4", "/a/2.mp4"}), JobTo("/out/3.mp4", {"/a/3.mp4"}),
               JobTo("", {"/a/4.mp4"}), JobTo("/out/\xFF.mp4", {"/a/\xFF.mp4", "b.mp4"})};
  plan.jobs[1].leftOut = LeftOut::kIncomplete;
  plan.jobs[1].closedAtTail = false;
  plan.jobs[1].date.reset();
  plan.jobs[2].leftOut = LeftOut::kCopy;
  return plan;
}

class PlanFile : public testing::Test {
 protected:
  std::string Put(const std::string& text) const {
    const fs::path path = folder / "plan.json";
    support::WriteFile(path, support::Text(text));
    return path.string();
  }
  // What reading that text complains about; the plan must be refused.
  std::string FaultOf(const std::string& text) const {
    const PlanReading reading = ReadPlan(Put(text));
    if (!reading.fault) return "nothing";
    EXPECT_TRUE(reading.jobs.empty());
    EXPECT_EQ(Message::kPlanInvalid, reading.fault->message);
    EXPECT_EQ(At("plan.json"), reading.fault->path);
    return reading.fault->text;
  }
  // The same for a sound plan in which one thing is replaced.
  std::string FaultWith(const std::string& place, const json& value) const {
    json document = Sound();
    document[json::json_pointer(place)] = value;
    return FaultOf(document.dump());
  }
  std::string FaultWithout(const std::string& object, const std::string& field) const {
    json document = Sound();
    document[json::json_pointer(object)].erase(field);
    return FaultOf(document.dump());
  }
  static json Sound() { return json::parse(PlanText(PlanWithAllKinds())); }
  std::string At(const std::string& name) const { return (folder / name).string(); }

  support::TempDir folder;
};

TEST_F(PlanFile, HoldsEveryFieldOfTheJobs) {
  const std::string here = fs::current_path().string();
  const json expected = {
      {"format", "clipchain plan"},
      {"version", 1},
      {"jobs",
       {{{"number", 1},
         {"date", "2024-05-06T07:08:09"},
         {"state", "complete"},
         {"size", 7},
         {"inputs", {{{"path", "/a/1.mp4"}}, {{"path", "/a/2.mp4"}}}},
         {"output", {{"path", "/out/1.mp4"}}}},
        {{"number", 2},
         {"date", "2024-05-06T07:08:09"},
         {"state", "complete"},
         {"size", 7},
         {"inputs",
          {{{"path", "/a/\xEF\xBF\xBD.mp4"}, {"path_bytes", "2f612fff2e6d7034"}},
           {{"path", here + "/b.mp4"}}}},
         {"output", {{"path", "/out/\xEF\xBF\xBD.mp4"}, {"path_bytes", "2f6f75742fff2e6d7034"}}}}}},
      {"left_out",
       {{{"reason", "incomplete"},
         {"date", nullptr},
         {"state", "open at tail"},
         {"size", 7},
         {"inputs", {{{"path", "/a/3.mp4"}}}},
         {"output", {{"path", "/out/3.mp4"}}}},
        {{"reason", "copy"},
         {"date", "2024-05-06T07:08:09"},
         {"state", "complete"},
         {"size", 7},
         {"inputs", {{{"path", "/a/4.mp4"}}}},
         {"output", nullptr}}}}};
  json found = Sound();
  EXPECT_EQ(PlanText(PlanWithAllKinds()).size(), found["bytes"]);
  found.erase("bytes");
  EXPECT_EQ(found["proposed"], json::array());
  found.erase("proposed");
  for (const char* list : {"jobs", "left_out"}) {
    for (json& job : found[list]) {
      EXPECT_EQ(job.at("accepted"), nullptr);
      job.erase("accepted");
    }
  }
  EXPECT_EQ(expected, found);
}

TEST_F(PlanFile, GivesBackTheJobsThatAreToBeRun) {
  ASSERT_FALSE(WritePlan(PlanWithAllKinds(), At("plan.json")));
  const PlanReading reading = ReadPlan(At("plan.json"));
  ASSERT_FALSE(reading.fault);
  ASSERT_EQ(2u, reading.jobs.size());
  EXPECT_EQ((std::vector<std::string>{"/a/1.mp4", "/a/2.mp4"}), reading.jobs[0].inputs);
  EXPECT_EQ("/out/1.mp4", reading.jobs[0].output);
  EXPECT_EQ(LeftOut::kNo, reading.jobs[0].leftOut);
  EXPECT_EQ("/a/\xFF.mp4", reading.jobs[1].inputs[0]);
  EXPECT_EQ(fs::current_path() / "b.mp4", reading.jobs[1].inputs[1]);
  EXPECT_EQ("/out/\xFF.mp4", reading.jobs[1].output);
}

TEST_F(PlanFile, DoesNotLookAtTheClips) {
  JoinPlan plan;
  plan.jobs = {JobTo("/out/1.mp4", {Put("12345"), At("absent")})};
  ASSERT_FALSE(WritePlan(plan, At("other.json")));
  EXPECT_EQ(0, ReadPlan(At("other.json")).jobs.at(0).size);
}

namespace {

// Jobs with some that are left out among them, and lines of any length.
JoinPlan LongPlan(std::size_t jobs) {
  JoinPlan plan;
  for (std::size_t i = 0; i < jobs; ++i) {
    const std::string name = std::to_string(i);
    plan.jobs.push_back(
        JobTo("/out/" + name, {i % 7 == 0 ? std::string(1 + i % 50 * 100, 'x') : "/" + name}));
    if (i % 7 == 0) plan.jobs.back().inputs.push_back("/" + name);
    if (i % 5 == 4) plan.jobs.back().leftOut = LeftOut::kSingle;
  }
  return plan;
}

}  // namespace

TEST_F(PlanFile, GivesBackEachJobByItsNumber) {
  for (const std::size_t jobs : {1u, 2u, 3u, 60u}) {
    fs::remove(At("plan.json"));
    ASSERT_FALSE(WritePlan(LongPlan(jobs), At("plan.json")));
    const PlanReading all = ReadPlan(At("plan.json"));
    for (std::size_t number = 1; number <= all.jobs.size(); ++number) {
      const JobReading one = ReadJob(At("plan.json"), number);
      ASSERT_FALSE(one.fault);
      EXPECT_EQ(all.jobs[number - 1].inputs, one.job.inputs);
      EXPECT_EQ(all.jobs[number - 1].output, one.job.output);
    }
    for (const std::size_t absent : {all.jobs.size() + 1, std::size_t{1000000}}) {
      const JobReading none = ReadJob(At("plan.json"), absent);
      ASSERT_TRUE(none.fault);
      EXPECT_EQ(Message::kJobMissing, none.fault->message);
      EXPECT_THAT(none.fault->text, HasSubstr(fmt::format("up to number {}, and no job {}",
                                                          all.jobs.size(), absent)));
    }
  }
}

// Whoever runs a million jobs does not want to read all of them for each.
TEST_F(PlanFile, ReadsOneJobWithoutTheOthers) {
  ASSERT_FALSE(WritePlan(LongPlan(3000), At("plan.json")));
  const support::AllocationMeter meter;
  ASSERT_FALSE(ReadJob(At("plan.json"), 1234).fault);
  EXPECT_GT(fs::file_size(At("plan.json")) / 20, meter.Peak());
}

TEST_F(PlanFile, ReadsAllOfAPlanThatWasEdited) {
  std::string text = PlanText(LongPlan(60));
  const auto faultOf = [this](const std::string& edited) {
    const JobReading reading = ReadJob(Put(edited), 7);
    return reading.fault ? reading.fault->text : "nothing";
  };
  EXPECT_EQ("nothing", faultOf(json::parse(text).dump(4)));
  const std::size_t line = text.find("    {\"number\":20,");
  text.erase(line, text.find('\n', line) + 1 - line);
  EXPECT_EQ("is no plan: /jobs/19/number is not 20", faultOf(text));
  EXPECT_THAT(faultOf(text.substr(0, text.size() - 3)), HasSubstr("is no"));
}

TEST_F(PlanFile, IsReadInTimeInProportionWhateverItHolds) {
  const auto secondsFor = [this](std::size_t elements) {
    std::string text = "{\"other\":[{}";
    for (std::size_t i = 0; i < elements; ++i) text += ",{}";
    text += "],\"numbers\":[1";
    for (std::size_t i = 0; i < elements; ++i) text += ",1";
    const std::string path = Put(text + "]}");
    const support::AllocationMeter meter;
    const double seconds = support::ProcessorSeconds(
        [&path] { EXPECT_EQ("is no plan: /format is missing", ReadPlan(path).fault->text); });
    // The parser keeps what it read since the last word or number.
    EXPECT_GT(4 * text.size() + 100000, meter.Peak());
    return seconds;
  };
  // Three hundred times as long where each element looked at those before it.
  EXPECT_GT(3, secondsFor(300000));
}

TEST_F(PlanFile, IsReadNoFurtherThanSomebodyWaits) {
  std::string text = "{\"other\":[1";
  for (std::size_t i = 0; i < 100000; ++i) text += ",1";
  const std::string path = Put(text + "]}");
  for (int asked = 0; asked < 5; ++asked) {
    int left = asked;
    const PlanReading reading = ReadPlan(path, [&left] { return left-- > 0; });
    ASSERT_TRUE(reading.fault);
    EXPECT_EQ(Message::kMergeStopped, reading.fault->message);
    EXPECT_EQ(-1, left);
    EXPECT_EQ(Message::kMergeStopped, ReadJob(path, 1, [] { return false; }).fault->message);
  }
}

TEST_F(PlanFile, IsRefusedIfItSaysOneThingTwice) {
  std::string text = Sound().dump();
  for (const auto& [field, place] :
       {std::pair("\"version\":1", "/version"), std::pair("\"number\":2", "/jobs/1/number"),
        std::pair("\"path\":\"/out/1.mp4\"", "/jobs/0/output/path")}) {
    std::string doubled = text;
    doubled.insert(doubled.find(field), std::string(field) + ',');
    EXPECT_EQ(fmt::format("is no plan: {} comes twice", place), FaultOf(doubled));
  }
}

TEST_F(PlanFile, MayHoldNoJobs) {
  ASSERT_FALSE(WritePlan({}, At("plan.json")));
  const PlanReading reading = ReadPlan(At("plan.json"));
  EXPECT_FALSE(reading.fault);
  EXPECT_TRUE(reading.jobs.empty());
}

TEST_F(PlanFile, IsNeverWrittenOverAnotherFile) {
  const std::string path = Put("precious");
  const std::optional<Finding> fault = WritePlan({}, path);
  ASSERT_TRUE(fault);
  EXPECT_EQ(Message::kPlanUnwritable, fault->message);
  EXPECT_EQ(path, fault->path);
  EXPECT_THAT(fault->text, HasSubstr("exists already"));
  EXPECT_EQ(support::Text("precious"), support::ReadFile(path));
  fs::create_symlink("nowhere", At("link"));
  EXPECT_TRUE(WritePlan({}, At("link")));
  EXPECT_FALSE(fs::exists(At("nowhere")));
}

TEST_F(PlanFile, TellsWhyItCannotBeWritten) {
  const std::optional<Finding> fault = WritePlan({}, At("absent/plan.json"));
  ASSERT_TRUE(fault);
  EXPECT_THAT(fault->text, HasSubstr("can't be written: there is no folder " + At("absent")));
  EXPECT_NE("", fault->remedy);
}

TEST_F(PlanFile, TellsThatItCannotBeRead) {
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  for (const std::string& path : {At("absent"), folder.path().string(), At("pipe")}) {
    const PlanReading reading = ReadPlan(path);
    ASSERT_TRUE(reading.fault);
    EXPECT_EQ(Message::kPlanUnreadable, reading.fault->message);
    EXPECT_EQ(path, reading.fault->path);
    EXPECT_THAT(reading.fault->text, testing::StartsWith("can't be read: "));
    EXPECT_EQ("check the name and the permissions", reading.fault->remedy);
    EXPECT_TRUE(reading.jobs.empty());
  }
}

TEST_F(PlanFile, IsRefusedIfItIsNoJson) {
  EXPECT_EQ("is no JSON from byte 1 on", FaultOf(""));
  EXPECT_EQ("is no JSON from byte 1 on", FaultOf("These are notes."));
  EXPECT_THAT(FaultOf("{\"format\": \"\xFF\"}"), HasSubstr("is no JSON"));
  const std::string whole = PlanText(PlanWithAllKinds());
  EXPECT_THAT(FaultOf(whole.substr(0, whole.size() - 2)), HasSubstr("is no JSON"));
  EXPECT_THAT(FaultOf(whole + "{}"), HasSubstr("is no JSON"));
  EXPECT_EQ(2u, ReadPlan(Put(whole)).jobs.size());
}

TEST_F(PlanFile, IsRefusedIfItIsAnotherDocument) {
  for (const char* text : {"[]", "1", "null", "\"a\"", "[[{}]]"})
    EXPECT_EQ("is no plan: / is no object", FaultOf(text));
  EXPECT_EQ("is no plan: /format is missing", FaultOf("{}"));
  EXPECT_EQ("is no plan: /format is of another program", FaultWith("/format", "batch"));
  EXPECT_EQ("is no plan: /format is of another program", FaultWith("/format", 1));
  EXPECT_THAT(FaultWith("/version", 2), HasSubstr("/version is not 1"));
  EXPECT_THAT(FaultWith("/version", "1"), HasSubstr("/version is not 1"));
  EXPECT_THAT(FaultWithout("", "version"), HasSubstr("/version is missing"));
}

TEST_F(PlanFile, IsRefusedIfItWouldTakeMuchMemory) {
  for (const char* level : {"[", "{\"a\":"}) {
    std::string text = "{\"a\":";
    for (int i = 0; i < 1000000; ++i) text += level;
    const std::string path = Put(text);
    const support::AllocationMeter meter;
    const PlanReading reading = ReadPlan(path);
    EXPECT_GT(text.size() + 1200000, meter.Peak());
    ASSERT_TRUE(reading.fault);
    EXPECT_EQ("is no plan: / is nested too deeply", reading.fault->text);
  }
  fs::resize_file(Put("{"), kLargestPlan + 1);
  EXPECT_THAT(ReadPlan(At("plan.json")).fault->text, HasSubstr("has 67108865 bytes"));
}

TEST_F(PlanFile, IsNotWrittenIfItCouldNotBeReadAgain) {
  JoinPlan plan;
  plan.jobs = {JobTo("/out/1.mp4", std::vector<std::string>(20, std::string(4000000, 'a')))};
  const std::optional<Finding> fault = WritePlan(plan, At("plan.json"));
  ASSERT_TRUE(fault);
  EXPECT_EQ(Message::kPlanUnwritable, fault->message);
  EXPECT_THAT(fault->text, HasSubstr("a plan has 67108864 at most"));
  EXPECT_NE("", fault->remedy);
  EXPECT_FALSE(fs::exists(At("plan.json")));
}

TEST_F(PlanFile, IsRefusedIfANumberIsTooLarge) {
  std::string text = Sound().dump();
  const std::string version = "\"version\":1";
  text.insert(text.find(version) + version.size(), "e999");
  EXPECT_EQ("is no plan: it has a number that is too large", FaultOf(text));
}

TEST_F(PlanFile, SaysThatItEndsBeforeItsSize) {
  const std::string path = Put(PlanText(PlanWithAllKinds()));
  const PlanReading reading = ReadPlan(path, [&path] {
    fs::resize_file(path, 10);
    return true;
  });
  ASSERT_TRUE(reading.fault);
  EXPECT_EQ("can't be read: it ends too early", reading.fault->text);
}

// The first memory that is asked for is that for all of the text.
TEST_F(PlanFile, SaysWhichPlanNeedsMoreMemoryThanThereIs) {
  const std::string path = Put(PlanText(PlanWithAllKinds()));
  support::AllocationMeter meter;
  meter.Refuse(0);
  const PlanReading reading = ReadPlan(path);
  ASSERT_TRUE(reading.fault);
  EXPECT_EQ(Message::kOutOfMemory, reading.fault->message);
  EXPECT_EQ(path, reading.fault->path);
  EXPECT_NE("", reading.fault->remedy);
}

TEST_F(PlanFile, IsRefusedIfAnOutputNamesNoFile) {
  for (const char* output : {"/out/", "/", "/out/.", "/out/..", "."}) {
    EXPECT_EQ("is no plan: /jobs/1/output has a path that ends in a folder",
              FaultWith("/jobs/1/output", {{"path", output}}))
        << output;
  }
  EXPECT_EQ("is no plan: /jobs/1/output has no path that a file can have",
            FaultWith("/jobs/1/output", {{"path", ""}}));
  EXPECT_EQ("nothing", FaultWith("/jobs/1/output", {{"path", "/out/..."}}));
}

TEST_F(PlanFile, IsRefusedWhereverAFieldHasAnotherType) {
  EXPECT_EQ("is no plan: /jobs is missing", FaultWithout("", "jobs"));
  EXPECT_EQ("is no plan: /jobs is no list", FaultWith("/jobs", json::object()));
  EXPECT_EQ("is no plan: /jobs/1 is no object", FaultWith("/jobs/1", "3"));
  EXPECT_EQ("is no plan: /jobs/1/number is not 2", FaultWith("/jobs/1/number", 1));
  EXPECT_EQ("is no plan: /jobs/1/number is not 2", FaultWith("/jobs/1/number", "2"));
  EXPECT_EQ("is no plan: /jobs/0/number is missing", FaultWithout("/jobs/0", "number"));
  for (const json& inputs : {json(), json("/a"), json::array(), json::object()})
    EXPECT_THAT(FaultWith("/jobs/0/inputs", inputs), HasSubstr("/jobs/0/inputs is no list"));
  EXPECT_EQ("is no plan: /jobs/0/inputs/1 is no object", FaultWith("/jobs/0/inputs/1", "/a"));
  EXPECT_EQ("is no plan: /jobs/0/inputs/1 has no path that a file can have",
            FaultWith("/jobs/0/inputs/1/path", ""));
  EXPECT_EQ("is no plan: /jobs/0/output is no object", FaultWith("/jobs/0/output", nullptr));
  EXPECT_EQ("is no plan: /jobs/0/output has no path that a file can have",
            FaultWith("/jobs/0/output/path_bytes", "zz"));
  EXPECT_EQ("nothing", [&] {
    json document = Sound();
    document["jobs"] = json::array();
    document["remark"] = "further fields are passed over";
    return FaultOf(document.dump());
  }());
}

}  // namespace
}  // namespace clipchain

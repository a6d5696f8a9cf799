// The subcommands on sound recordings, and wrong usage.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "program.h"

namespace qomtool {
namespace {

using Json = nlohmann::json;

class Command : public ProgramTest {
 protected:
  // Ten seconds of cursor positions, one a second, from 2024-01-01 00:00:00 UTC on.
  void make_ten_seconds() {
    std::string text = "qom-text 1\nscreen 8x8\nformat RGB332\nstart 2024-01-01T00:00:00Z\n";
    for (int i = 1; i <= 10; ++i) text += "cursor-position +1 " + std::to_string(i) + ",0\n";
    make("ten", text);
  }

  // The indexes of the records that dump prints.
  std::string dumped(const std::vector<std::string> &range) {
    std::vector<std::string> arguments = {"dump", path("ten")};
    arguments.insert(arguments.end(), range.begin(), range.end());
    const Outcome outcome = qom(arguments);
    std::string indexes;
    for (size_t at = 0; at < outcome.out.size(); at = outcome.out.find('\n', at) + 1) {
      indexes += outcome.out[at + 1];
    }
    return outcome.status == 0 ? indexes : std::to_string(outcome.status) + ' ' + outcome.err;
  }
};

TEST_F(Command, WrongUsageExitsWith2AndShowsTheUsage) {
  const std::vector<std::vector<std::string>> wrong = {
      {"record", "--fps", "nan", path("out.qom")},
      {"record", "--duration", "nan", path("out.qom")},
      {},
      {"frobnicate"},
      {"info"},
      {"info", "a", "b"},
      {"dump", "--form", "1", "a"},
      {"repair", "a"},
      {"make", "a"},
      {"verify", "--limit", "many", "a"},
      {"dump", "a", "--from", "12.5"},
      {"dump", "a", "--to", "2024-02-30 00:00:00"}};
  for (const auto &arguments : wrong) {
    const Outcome outcome = qom(arguments);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_NE(outcome.err.find("Usage: qom"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(qom({"--help"}).status, 0);
  EXPECT_EQ(qom({"repair", "--help"}).status, 0);
  EXPECT_EQ(qom({"--version"}).out, "qom 0.1.0\n");
}

TEST_F(Command, DumpChoosesByIndexElapsedAndClock) {
  make_ten_seconds();
  EXPECT_EQ(dumped({}), "0123456789");
  EXPECT_EQ(dumped({"--from", "3", "--to", "#5"}), "345");
  EXPECT_EQ(dumped({"--from", "8.5s"}), "89");
  EXPECT_EQ(dumped({"--from", "0:08", "--to", "0:00:09.5"}), "78");
  EXPECT_EQ(dumped({"--from", "2024-01-01 00:00:09", "--to", "2024-01-01T00:00:09.999"}), "8");
  EXPECT_EQ(dumped({"--from", "9s"}), "89");
  EXPECT_EQ(dumped({"--to", "2s"}), "01");
  EXPECT_EQ(dumped({"--to", "99"}), "0123456789");
  const std::string nothing =
      "1 qom: " + path("ten") + ": no record lies in the range that --from and --to give\n";
  EXPECT_EQ(dumped({"--from", "10"}), nothing);
  EXPECT_EQ(dumped({"--from", "1.1s", "--to", "1.9s"}), nothing);
  EXPECT_EQ(dumped({"--from", "5", "--to", "4"}), nothing);
}

TEST_F(Command, DumpOfAPartIsARecording) {
  make("small", small_text());
  // The part cuts the first checkpoint and holds the second one whole.
  const Outcome text = qom({"dump", "--text", "--from", "20", path("small")});
  ASSERT_EQ(text.status, 0);
  make("part", text.out);
  const Outcome verdict = qom({"verify", path("part")});
  EXPECT_NE(verdict.out.find("good, finished, 18 records, 1 checkpoints"), std::string::npos)
      << verdict.out;
}

TEST_F(Command, InfoCountsWhatTheTextHolds) {
  make("small", small_text());
  const Outcome outcome = qom({"info", "--json", path("small")});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Json info = Json::parse(outcome.out);
  EXPECT_EQ(info["state"], "finished");
  EXPECT_EQ(info["header"]["pixel_format"], "RGB565");
  EXPECT_EQ(info["header"]["user"], "alice");
  EXPECT_EQ(info["header"]["tfn"], nullptr);
  EXPECT_EQ(info["records"]["count"], 38);
  EXPECT_EQ(info["records"]["types"]["cursor-image"]["count"], 3);
  EXPECT_EQ(info["checkpoints"]["count"], 2);
  EXPECT_EQ(info["largest_gap"]["us"], 10'000'000);
  EXPECT_EQ(info["largest_gap"]["after_record"], 25);
  EXPECT_EQ(info["duration_us"], 15'750'001);
  uint64_t bytes = 0;
  for (const auto &[name, type] : info["records"]["types"].items())
    bytes += type["bytes"].get<uint64_t>();
  EXPECT_EQ(info["records"]["bytes"], bytes);
  EXPECT_LT(bytes, info["file_bytes"]);
}

TEST_F(Command, TextsOfARecordingNeverReachTheTerminalRaw) {
  const std::string evil = "\\x1b]0;evil\\x07\\xff\\x9b\\xe2\\x80\\xae";
  make("evil", "qom-text 1\nscreen 8x8\nformat RGB332\nuser \"" + evil +
                   "\"\nfooter-item-app +0 \"" + evil + "\"\n");
  for (const std::vector<std::string> &arguments :
       {std::vector<std::string>{"info"}, {"info", "--json"}, {"dump"}, {"dump", "--text"}}) {
    std::vector<std::string> all = arguments;
    all.push_back(path("evil"));
    const Outcome outcome = qom(all);
    EXPECT_NE(outcome.out.find("evil"), std::string::npos);
    EXPECT_TRUE(std::all_of(outcome.out.begin(), outcome.out.end(), [](char c) {
      return c == '\n' || (c >= 0x20 && c < 0x7f);
    })) << outcome.out;
  }
  EXPECT_EQ(qom({"info", path("no\033[31msuch")}).err.find('\033'), std::string::npos);
}

TEST_F(Command, MakeTellsFileLineAndLeavesNothingBehind) {
  const std::string head = "qom-text 1\nscreen 8x8\nformat RGB332\n";
  const std::pair<std::string, std::string> mistakes[] = {
      {head + "screen-change +0 8x\n", ":4: expected a height"},
      {head + "screen-change 5 8x8\nscreen-change 4 8x8\n", ":5: "},  // the time goes back
      {"qom-text 1\nscreen 8x8\nformat RGB332\ndepth 24\n", ":4: "},  // deeper than its pixels
      {head + "\ncheckpoint-begin\nscreen-change +0 8x8\ncheckpoint-end\n", ":7: "},  // not whole
      {head + "checkpoint-begin\nscreen-change +0 8x8\n", ":5: the text ends inside of a check"},
      {head + "checkpoint-end\n", ":4: "},
  };
  for (const auto &[text, message] : mistakes) {
    write_file(path("text"), text);
    const Outcome outcome = qom({"make", path("text"), path("out")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find(path("text") + message), 0u) << outcome.err;
    EXPECT_NE(access(path("out").c_str(), F_OK), 0);
  }
  EXPECT_EQ(qom({"make", "-", path("out")}, head + "x\n").err.find("standard input:4: "), 0u);
}

TEST_F(Command, NothingIsOverwritten) {
  make("small", small_text());
  write_file(path("there"), "mine");
  EXPECT_EQ(qom({"make", "-", path("there")}, small_text()).status, 1);
  EXPECT_EQ(qom({"repair", path("small"), path("there")}).status, 1);
  EXPECT_EQ(read_file(path("there")), "mine");
  const std::string before = read_file(path("small"));
  EXPECT_EQ(qom({"repair", path("small"), path("small")}).status, 1);
  EXPECT_EQ(read_file(path("small")), before);
}

TEST_F(Command, OutputThatCannotBeWrittenIsAFailure) {
  make("small", small_text());
  for (const char *command : {"info", "dump", "verify"}) {
    const Outcome outcome = qom({command, path("small")}, "", 40);
    EXPECT_EQ(outcome.status, 1) << command;
    EXPECT_EQ(outcome.err, "qom: standard output: File too large\n");
  }
}

TEST_F(Command, WhatIsNoRecordingExitsWith3) {
  write_file(path("empty"), "");
  write_file(path("text"), small_text());
  ASSERT_EQ(mkdir(path("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  for (const std::string name : {"empty", "text", "folder", "fifo", "missing", "text/below"}) {
    for (const char *command : {"info", "dump", "verify", "repair"}) {
      std::vector<std::string> arguments = {command, path(name)};
      if (arguments[0] == "repair") arguments.push_back(path("out"));
      const Outcome outcome = qom(arguments);
      EXPECT_EQ(outcome.status, 3) << command << ' ' << name;
      EXPECT_EQ(outcome.err.find("qom: " + path(name) + ": "), 0u) << outcome.err;
    }
  }
  EXPECT_NE(access(path("out").c_str(), F_OK), 0);
  EXPECT_EQ(qom({"make", path("missing"), path("out")}).status, 3);
  EXPECT_EQ(qom({"make", path("folder"), path("out")}).status, 3);
}

}  // namespace
}  // namespace qomtool

// The subcommands on sound recordings, and wrong usage.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "program.h"

namespace qomtool {
namespace {

class Command : public ProgramTest {};

TEST_F(Command, WrongUsageExitsWith2AndShowsTheUsage) {
  const std::pair<Texts, const char *> wrong[] = {
      {{}, "subcommand"},
      {{"record", "--fps", "nan", file("out.qom")}, "\"nan\" is not a rate"},
      {{"record", "--fps", "0x10", file("out.qom")}, "\"0x10\" is not a rate"},
      {{"record", "--duration", "inf", file("out.qom")}, "\"inf\" is not a number"},
      {{"record", "-"}, "OUT: a recording is a file, never a pipe"},
      {{"fro\033b"}, "no subcommand \"fro\\x1bb\"\n"},
      {{"--frob", "info", "a"}, "no option \"--frob\"\n"},
      {{"info"}, "FILE"},
      {{"info", "-"}, "FILE: a recording is a file"},
      {{"info", "a", "b"}, "too many arguments: \"b\"\n"},
      {{"info", "--fr\033ob"}, "no option \"--fr\\x1bob\"\n"},
      {{"dump", "--form", "1", "a"}, "\"--form\""},
      {{"repair", "a"}, "OUT"},
      {{"repair", "-", "a"}, "IN: a recording is a file"},
      {{"make", "a"}, "OUT"},
      {{"make", "-", "-"}, "OUT: a recording is a file"},
      {{"verify", "--limit", "many", "a"}, "\"many\" is not a whole number"},
      {{"verify", "--limit", "-1", "a"}, "\"-1\" is not a whole number"},
      {{"dump", "a", "--from", "12.5"}, "\"12.5\" is none of"},
      {{"dump", "a", "--to", "2024-02-30 00:00:00"}, "is none of"}};
  for (const auto &[arguments, said] : wrong) {
    const Outcome outcome = qom(arguments);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, "Usage: qom")) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, said)) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(qom({"--version"}).out, "qom 0.1.0\n");
  for (Texts help : {Texts{}, {"info"}, {"dump"}, {"verify"}, {"repair"}, {"make"}, {"record"}}) {
    help.push_back("--help");
    const Outcome outcome = qom(help);
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100u) << line;
  }
}

TEST_F(Command, NobodyMayReadMoreOfWhatIsMadeThanOfItsSource) {
  const mode_t before = umask(0);
  const auto mode_of = [this](const char *name) {
    struct stat status = {};
    EXPECT_EQ(stat(file(name).c_str(), &status), 0);
    return status.st_mode & 0777;
  };
  write_file(file("text"), small_text());
  make("recording", small_text());
  EXPECT_EQ(mode_of("recording"), 0600u);
  for (const auto &[source, made] : {std::pair<mode_t, mode_t>{0666, 0600}, {0440, 0400}}) {
    chmod(file("text").c_str(), source);
    chmod(file("recording").c_str(), source);
    EXPECT_EQ(qom({"make", file("text"), file("made")}).status, 0);
    EXPECT_EQ(qom({"repair", file("recording"), file("repaired")}).status, 0);
    EXPECT_EQ(mode_of("made"), made);
    EXPECT_EQ(mode_of("repaired"), made);
    unlink(file("made").c_str());
    unlink(file("repaired").c_str());
  }
  umask(before);
}

TEST_F(Command, DumpChoosesByIndexElapsedAndClock) {
  std::string text = "qom-text 1\nscreen 8x8\nformat RGB332\nstart 2024-01-01T00:00:00Z\n";
  for (int i = 1; i <= 10; ++i) text += "cursor-position +1 " + std::to_string(i) + ",0\n";
  make("ten", text);
  const std::pair<Texts, const char *> ranges[] = {
      {{}, "0123456789"},
      {{"--from", "3", "--to", "#5"}, "345"},
      {{"--from", "8.5s"}, "89"},
      {{"--from", "0:08", "--to", "0:00:09.5"}, "78"},
      {{"--from", "2024-01-01 00:00:09", "--to", "2024-01-01T00:00:09.999"}, "8"},
      {{"--from", "9s"}, "89"},
      {{"--to", "2s"}, "01"},
      {{"--to", "99"}, "0123456789"},
      {{"--from", "10"}, ""},
      {{"--from", "1.1s", "--to", "1.9s"}, ""},
      {{"--from", "5", "--to", "4"}, ""}};
  for (auto [arguments, expected] : ranges) {
    arguments.insert(arguments.begin(), {"dump", file("ten")});
    const Outcome outcome = qom(arguments);
    std::string indexes;
    for (size_t at = 0; at < outcome.out.size(); at = outcome.out.find('\n', at) + 1)
      indexes += outcome.out[at + 1];
    EXPECT_EQ(indexes, expected);
    EXPECT_EQ(outcome.status, indexes.empty());
    const std::string reason = ": no record lies in the range that --from and --to give\n";
    EXPECT_EQ(outcome.err, indexes.empty() ? "qom: " + file("ten") + reason : "");
  }
}

TEST_F(Command, DumpOfAPartIsARecording) {
  make("small", small_text());
  // The part cuts the first checkpoint and holds the second one whole.
  make("part", qom({"dump", "--text", "--from", "20", file("small")}).out);
  const Outcome verdict = qom({"verify", file("part")});
  EXPECT_TRUE(contains(verdict.out, "good, finished, 18 records, 1 checkpoints")) << verdict.out;
}

TEST_F(Command, InfoCountsWhatTheTextHolds) {
  make("small", small_text());
  const Outcome outcome = qom({"info", "--json", file("small")});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto info = nlohmann::json::parse(outcome.out);
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
  ASSERT_EQ(info["not_recorded"].size(), 3u);
  EXPECT_EQ(info["not_recorded"][1]["reason"], "clock-set");
  EXPECT_EQ(info["not_recorded"][1]["clock_ahead_us"], -3'600'500'000);
  const std::string table = qom({"info", file("small")}).out;
  EXPECT_TRUE(contains(table, "not recorded  0:00:30.500 in all, 3 marks:")) << table;
  EXPECT_TRUE(contains(table, "0:00:30.500 from 0:00:02.750 on (")) << table;
  EXPECT_TRUE(contains(qom({"verify", file("small")}).out, "3 stretches were not recorded"));
  ASSERT_EQ(qom({"repair", file("small"), file("copy")}).status, 0);
  EXPECT_EQ(qom({"dump", "--text", file("copy")}).out, qom({"dump", "--text", file("small")}).out);
  EXPECT_TRUE(contains(qom({"dump", "--text", file("copy")}).out, "gap 5 +2.25 clock-set -3600.5"));
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
  for (Texts arguments : {Texts{"info"}, {"info", "--json"}, {"dump"}, {"dump", "--text"}}) {
    arguments.push_back(file("evil"));
    const std::string out = qom(arguments).out;
    EXPECT_TRUE(contains(out, "evil"));
    for (const char c : out) EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f)) << out;
  }
  // Nor does its name, wherever it is told.
  const std::string name = file("e\033]0;v il");
  const std::string shown = '"' + file("e\\x1b]0;v il") + '"';
  for (int round = 0; round < 2; ++round) {  // the first one makes it
    for (Texts arguments : {Texts{"info", name},
                            {"verify", name},
                            {"repair", name, file("evil")},
                            {"repair", file("evil"), name},
                            {"make", name, file("out")}}) {
      const Outcome outcome = qom(arguments);
      EXPECT_FALSE(contains(outcome.out + outcome.err, "\033")) << outcome.out << outcome.err;
      EXPECT_TRUE(contains(outcome.out + outcome.err, shown) || arguments[2] == file("evil"))
          << outcome.out << outcome.err;
    }
  }
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
    write_file(file("text"), text);
    const Outcome outcome = qom({"make", file("text"), file("out")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err.find(file("text") + message), 0u) << outcome.err;
    EXPECT_FALSE(exists(file("out")));
  }
  EXPECT_EQ(qom({"make", "-", file("out")}, head + "x\n").err.find("standard input:4: "), 0u);
}

TEST_F(Command, NothingIsOverwritten) {
  make("small", small_text());
  const std::string small = read_file(file("small"));
  write_file(file("there"), "mine");
  EXPECT_EQ(qom({"make", "-", file("there")}, small_text()).status, 1);
  EXPECT_EQ(qom({"repair", file("small"), file("there")}).status, 1);
  EXPECT_EQ(qom({"repair", file("small"), file("small")}).status, 1);
  EXPECT_EQ(read_file(file("there")), "mine");
  EXPECT_EQ(read_file(file("small")), small);
}

TEST_F(Command, OutputThatCannotBeWrittenIsAFailure) {
  make("small", small_text());
  for (const char *command : {"info", "dump", "verify"}) {
    const Outcome outcome = qom({command, file("small")}, "", 40);
    EXPECT_EQ(outcome.status, 1) << command;
    EXPECT_EQ(outcome.err, "qom: standard output: File too large\n");
  }
}

TEST_F(Command, WhatIsNoRecordingExitsWith3) {
  write_file(file("empty"), "");
  write_file(file("text"), small_text());
  ASSERT_EQ(mkdir(file("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(file("fifo").c_str(), 0600), 0);
  for (const std::string name : {"empty", "text", "folder", "fifo", "missing", "text/below"}) {
    for (Texts arguments : {Texts{"info"}, {"dump"}, {"verify"}, {"repair", file("out")}}) {
      arguments.insert(arguments.begin() + 1, file(name));
      const Outcome outcome = qom(arguments);
      EXPECT_EQ(outcome.status, 3) << arguments[0] << ' ' << name;
      EXPECT_EQ(outcome.err.find("qom: " + file(name) + ": "), 0u) << outcome.err;
    }
  }
  EXPECT_FALSE(exists(file("out")));
  EXPECT_EQ(qom({"make", file("missing"), file("out")}).status, 3);
  EXPECT_EQ(qom({"make", file("folder"), file("out")}).status, 3);
}

}  // namespace
}  // namespace qomtool

// The subcommands on sound recordings, and wrong usage.
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "program.h"

namespace qomtool {
namespace {

class Command : public ProgramTest {
 protected:
  void SetUp() override { make("small", small_text()); }
};

TEST_F(Command, WrongUsageExitsWith2AndShowsTheUsage) {
  const std::pair<Texts, const char *> wrong[] = {
      {{}, "subcommand"},
      {{"record", "--fps", "nan", file("out.qom")}, "\"nan\" is not a rate"},
      {{"record", "--fps", "0x10", file("out.qom")}, "\"0x10\" is not a rate"},
      {{"record", "--duration", "inf", file("out.qom")}, "\"inf\" is not a number"},
      {{"record", "--fps", "0", file("out.qom")}, "--fps"},
      {{"record", "--pixel-format", "rgb999", file("out.qom")}, "\"rgb999\" is none of xRGB8888"},
      {{"record", "--window", "0x", file("out.qom")}, "not a window"},
      {{"record", "-"}, "OUT: a recording is a file, never a pipe"},
      {{"fro\033b"}, "no subcommand \"fro\\x1bb\"\n"},
      {{"info", "--fr\033ob"}, "no option \"--fr\\x1bob\"\n"},
      {{"make", "-", "-"}, "OUT: a recording is a file"},
      {{"verify", "a", "--limit="}, "--limit: its value is missing"},
      {{"verify", "--limit", "-1", "a"}, "\"-1\" is not a whole number"},
      {{"dump", "a", "--to", "2024-02-30 00:00:00"}, "there is no such day"}};
  for (const auto &[arguments, said] : wrong) {
    const Outcome outcome = qom(arguments);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, "Usage: qom")) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, said)) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(qom({"--version"}).out, "qom 0.1.0\n");
  for (Texts help :
       {Texts{}, {"info"}, {"dump"}, {"verify"}, {"repair"}, {"make"}, {"record"}, {"picture"}}) {
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
    unlink(file(name).c_str());
    return status.st_mode & 0777;
  };
  write_file(file("text"), small_text());
  for (const auto &[source, made] : {std::pair<mode_t, mode_t>{0666, 0600}, {0440, 0400}}) {
    chmod(file("text").c_str(), source);
    chmod(file("small").c_str(), source);
    EXPECT_EQ(qom({"make", file("text"), file("made")}).status, 0);
    EXPECT_EQ(qom({"repair", file("small"), file("repaired")}).status, 0);
    EXPECT_EQ(mode_of("made"), made);
    EXPECT_EQ(mode_of("repaired"), made);
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
      {{"--to", "2s"}, "01"},
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
    EXPECT_EQ(contains(outcome.err, "no record lies in the range"), indexes.empty());
  }
}

TEST_F(Command, InfoAndCopiesTellWhatTheTextHolds) {
  const Outcome outcome = qom({"info", "--json", file("small")});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto info = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(info["header"]["user"], "alice");
  EXPECT_EQ(info["records"]["count"], 38);
  EXPECT_EQ(info["records"]["types"]["cursor-image"]["count"], 3);
  EXPECT_EQ(info["checkpoints"]["count"], 2);
  EXPECT_EQ(info["largest_gap"]["after_record"], 25);
  EXPECT_EQ(info["duration_us"], 15'750'001);
  EXPECT_NEAR(info["records_per_second"].get<double>(), 38 / 15.750001, 1e-9);
  ASSERT_EQ(info["not_recorded"].size(), 3u);
  EXPECT_EQ(info["not_recorded"][1]["clock_ahead_us"], -3'600'500'000);
  EXPECT_EQ(info["film"]["us"], 7'500'000);
  EXPECT_NEAR(info["film"]["share_of_area"].get<double>(), 7.5 / 15.750001 * 12 / 32, 1e-9);
  EXPECT_EQ(info["film"]["areas"][0]["pictures_per_second"], 2.5);
  const std::string table = qom({"info", file("small")}).out;
  EXPECT_TRUE(contains(table, "at most 2.5 pictures a second, lossy with quality 75")) << table;
  EXPECT_TRUE(contains(table, "not recorded  0:00:30.500 in all, 3 marks:")) << table;
  EXPECT_TRUE(contains(table, "0:00:30.500 from 0:00:02.750 on (")) << table;

  const Outcome text = qom({"dump", "--text", file("small")});
  make("copy", text.out);
  EXPECT_EQ(read_file(file("copy")), read_file(file("small")));
  EXPECT_EQ(qom({"repair", file("small"), file("small")}).status, 1);
  EXPECT_EQ(qom({"make", "-", file("small")}, text.out).status, 1);
  EXPECT_EQ(read_file(file("copy")), read_file(file("small")));
  // The parts cut the first checkpoint; the second one holds the other whole.
  make("front", qom({"dump", "--text", "--to", "20", file("small")}).out);
  make("part", qom({"dump", "--text", "--from", "20", file("small")}).out);
  const std::string verdict = qom({"verify", file("part")}).out;
  EXPECT_TRUE(contains(verdict, "good, finished, 18 records, 1 checkpoint\n")) << verdict;
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
  for (const Texts &arguments : {Texts{"info", name},
                                 {"repair", file("evil"), name},
                                 {"info", name},
                                 {"verify", name},
                                 {"repair", file("evil"), name},
                                 {"make", name, file("out")}}) {
    const Outcome outcome = qom(arguments);
    EXPECT_FALSE(contains(outcome.out + outcome.err, "\033")) << outcome.out << outcome.err;
    EXPECT_TRUE(contains(outcome.out + outcome.err, shown)) << outcome.out << outcome.err;
  }
}

TEST_F(Command, OutputThatCannotBeWrittenIsAFailure) {
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
  EXPECT_NE(access(file("out").c_str(), F_OK), 0);
  EXPECT_EQ(qom({"make", file("folder"), file("out")}).status, 3);
}

}  // namespace
}  // namespace qomtool

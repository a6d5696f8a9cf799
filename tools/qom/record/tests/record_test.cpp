// Records real X servers with `qom record` and compares what the recording shows with what was
// there.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <thread>

#include "display.h"
#include "lying_server.h"
#include "replay.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

const std::vector<std::string> xvfb{"Xvfb", "-screen", "0", "800x600x24", "-noreset"};

// The recording is at `path`.
class Recording : public RecordingTest {
 protected:
  void start_display(std::vector<std::string> command = xvfb) {
    if (command[0] == "Xvnc") {
      const std::string socket = folder + "/vnc";
      command.insert(command.end(), {"-SecurityTypes", "None", "-geometry", "640x480", "-rfbport",
                                     "0", "-rfbunixpath", socket});
    }
    display_ = std::make_unique<Display>(command);
    address_ = display_->name();
  }

  // What is recorded from now on speaks to the display through a server that lies.
  std::unique_ptr<LyingServer> lie(const std::function<void(Answer &)> &lie) {
    auto server = std::make_unique<LyingServer>(display_->name(), lie);
    address_ = server->name();
    return server;
  }

  uint8_t opcode_of(xcb_extension_t &extension) const {
    return xcb_get_extension_data(display_->connection(), &extension)->major_opcode;
  }

  // Returns when the first picture is in the file.
  void start_recorder(
      std::vector<std::string> options = {}, const std::function<void()> &prepare = [] {}) {
    options.insert(options.begin(), {QOM_RECORD_PROGRAM, "record"});
    options.insert(options.end(), {"--fps", rate_, "--display", address_, path});
    recorder_ = std::make_unique<Process>(options, prepare);
    ASSERT_TRUE(recorder_->prints(" into ")) << recorder_->output();
  }

  void stop_recorder() {
    recorder_->signal(SIGTERM);
    ASSERT_EQ(recorder_->wait(), 0) << recorder_->output();
  }

  std::unique_ptr<Process> start_program(std::vector<std::string> command) {
    return std::make_unique<Process>(command,
                                     [this] { setenv("DISPLAY", display_->name().c_str(), 1); });
  }

  // Ends the recording and compares everything that it shows at its end with the display.
  void expect_last_frame_is_the_display() {
    const Screenshot there = display_->settled();
    stop_recorder();
    ASSERT_TRUE(there == display_->screenshot(display_->root()));
    const Replay replay(path);
    EXPECT_EQ(replay.info().state, QOM_STATE_FINISHED);
    const Replayed end = replay.play();
    EXPECT_TRUE(end.frame == there);
    expect_cursor(end);
    for (const size_t checkpoint : replay.checkpoints()) {
      const Replayed from_there = replay.play(checkpoint);
      EXPECT_TRUE(from_there.frame == there) << "from record " << checkpoint;
      EXPECT_EQ(from_there.texts, end.texts);
      EXPECT_EQ(from_there.cursor, end.cursor);
    }
  }

  void expect_cursor(const Replayed &end) const {
    xcb_connection_t *c = display_->connection();
    free(xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr));
    const std::unique_ptr<xcb_xfixes_get_cursor_image_reply_t, decltype(&free)> cursor(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr), free);
    ASSERT_TRUE(cursor);
    const uint32_t *pixels = xcb_xfixes_get_cursor_image_cursor_image(cursor.get());
    EXPECT_EQ(end.cursor, std::vector<uint32_t>(pixels, pixels + cursor->width * cursor->height));
    EXPECT_EQ(end.cursor_x, cursor->x);
    EXPECT_EQ(end.cursor_y, cursor->y);
  }

  // Whether the recording comes to show this.
  bool comes_to_show(const Screenshot &there) const {
    return eventually([&] { return Replay(path).play().frame == there; });
  }

  std::string rate_ = "30";
  std::unique_ptr<Display> display_;
  std::string address_;  // of the display, for the recorder
  std::unique_ptr<Process> recorder_;
};

TEST_F(Recording, ShowsADesktopOfRealPrograms) {
  start_display();
  start_recorder();
  const std::string done = folder + "/done";
  const auto xterm = start_program({"xterm", "-geometry", "80x24+10+10", "-e", "sh", "-c",
                                    "ls -l /usr/bin | head -300; touch " + done + "; sleep 1000"});
  const auto logo = start_program({"xlogo", "-geometry", "200x200+550+20"});
  const std::string script = folder + "/bounce.tcl";
  std::ofstream(script) << R"(
    wm geometry . 300x200+300+350
    pack [canvas .c -background white]
    .c create oval 0 0 60 60 -fill red -tags ball
    for {set i 0} {$i < 60} {incr i} { after 15; .c move ball 3 2; update }
    puts bounced)";
  const auto tk = start_program({"wish", script});
  ASSERT_TRUE(eventually([&] { return fs::exists(done); }));
  ASSERT_TRUE(tk->prints("bounced")) << tk->output();

  // A video in a window, stopped in the middle once it runs.
  const auto video = start_program({"mpv", "--no-config", "--no-audio", "--vo=x11", "--hwdec=no",
                                    "--osd-level=0", "--no-border", "--geometry=240x180+530+250",
                                    "--term-status-msg=at ${=time-pos}",
                                    "av://lavfi:testsrc2=size=240x180:rate=25"});
  ASSERT_TRUE(video->prints("at 1.0")) << video->output();
  video->signal(SIGSTOP);

  // A window dragged over the others with the pointer.
  const xcb_window_t window = display_->make_window(0, 0, 150, 120, 0x3366cc);
  for (uint32_t step = 0; step < 40; step++) {
    display_->configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {step * 12, step * 9});
    xcb_test_fake_input(display_->connection(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME,
                        display_->root(), static_cast<int16_t>(step * 12 + 5),
                        static_cast<int16_t>(step * 9 + 5), 0);
  }
  // Over the text the pointer has another shape.
  xcb_warp_pointer(display_->connection(), XCB_NONE, display_->root(), 0, 0, 0, 0, 100, 100);
  display_->sync();
  expect_last_frame_is_the_display();
}

TEST_F(Recording, ShowsWhatWasDrawnRightBeforeItsEnd) {
  start_display();
  rate_ = "0.1";
  start_recorder();
  const xcb_window_t window = display_->make_window(10, 10, 80, 60, 0x445566);
  display_->fill_with_noise(window, 0, 0, 50, 50);
  xcb_warp_pointer(display_->connection(), XCB_NONE, window, 0, 0, 0, 0, 3, 4);
  display_->sync();
  stop_recorder();
  const Replayed end = Replay(path).play();
  EXPECT_TRUE(end.frame == display_->screenshot(display_->root()));
  EXPECT_EQ(end.cursor_x, 13);
}

TEST_F(Recording, GoesOnWithTheNewSizeOfTheScreen) {
  start_display({"Xvnc"});
  start_recorder();
  display_->make_window(50, 60, 500, 300, 0x20a040);
  for (const char *size : {"800x600", "1024x768", "640x480"}) {
    const auto xrandr = start_program({"xrandr", "-s", size});
    ASSERT_EQ(xrandr->wait(), 0) << xrandr->output();
    const xcb_window_t window = display_->make_window(0, 0, 2000, 40, 0xa02060);
    display_->fill_with_noise(window, 3, 3, 100, 30);
    ASSERT_TRUE(comes_to_show(display_->settled()));
  }
  expect_last_frame_is_the_display();
}

// What a display pixel is in another format, worked out channel by channel.
uint32_t truncated(uint32_t pixel, const std::string &format) {
  const uint32_t red = pixel >> 16 & 0xff;
  const uint32_t green = pixel >> 8 & 0xff;
  const uint32_t blue = pixel & 0xff;
  if (format == "RGB565") return red / 8 << 11 | green / 4 << 5 | blue / 8;
  if (format == "BGR565") return blue / 8 << 11 | green / 4 << 5 | red / 8;
  if (format == "rgb332") return red / 32 << 5 | green / 32 << 2 | blue / 64;
  if (format == "bgr233") return blue / 64 << 6 | green / 32 << 3 | red / 32;
  if (format == "BGRx8888") return blue << 24 | green << 16 | red << 8;
  return pixel;
}

struct Pixels {
  std::vector<std::string> server;
  PixelFormat recorded;
  std::string asked = "";  // with --pixel-format; none for the server's own
};

class RecordingOfPixels : public Recording, public testing::WithParamInterface<Pixels> {};

TEST_P(RecordingOfPixels, KeepsThemOrCutsOffTheLowestBitsOfEachChannel) {
  const auto &[server, recorded, asked] = GetParam();
  start_display(server);
  start_recorder(asked.empty() ? Texts{} : Texts{"--pixel-format", asked});
  const xcb_window_t window = display_->make_window(31, 17, 900, 700, 0xf81f);
  for (int i = 0; i < 20; i++) {  // down to the lower right corner
    display_->fill_with_noise(window, i * 40, i * 31, 33 + i, 20);
    display_->configure(window, XCB_CONFIG_WINDOW_X, {static_cast<uint32_t>(31 + 9 * i)});
  }
  Screenshot expected = display_->settled();
  for (uint32_t &pixel : expected.pixels) pixel = truncated(pixel, asked);
  stop_recorder();
  EXPECT_TRUE(Replay(path).play().frame == expected);
  EXPECT_EQ(Replay(path).header().pixel_format, recorded);
}

INSTANTIATE_TEST_SUITE_P(
    All, RecordingOfPixels,
    testing::Values(Pixels{xvfb, RGB565, "RGB565"}, Pixels{xvfb, BGR565, "BGR565"},
                    Pixels{xvfb, RGB332, "rgb332"}, Pixels{xvfb, BGR233, "bgr233"},
                    Pixels{xvfb, BGRx8888, "BGRx8888"},
                    Pixels{{"Xvfb", "-screen", "0", "801x601x16"}, RGB565},
                    Pixels{{"Xvfb", "-screen", "0", "801x601x24", "-extension", "MIT-SHM"},
                           xRGB8888},
                    Pixels{{"Xvnc", "-depth", "24", "-pixelformat", "bgr888"}, xBGR8888},
                    Pixels{{"Xvnc", "-depth", "16", "-pixelformat", "bgr565"}, BGR565}));

TEST_F(Recording, OfOneWindowHasItsPixelsWhereverItIs) {
  start_display();
  const xcb_window_t window = display_->make_window(50, 50, 200, 150, 0x804020);
  display_->set_title(window, "Painter", "a picture");
  start_recorder({"--window", std::to_string(window)});
  display_->fill_with_noise(window, 10, 10, 60, 60);
  display_->make_window(100, 100, 300, 300, 0xffffff);  // covers a part of it
  display_->fill(window, 0x00ff00, 100, 80, 90, 60);    // which is drawn on nevertheless
  display_->configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_WIDTH,
                      {static_cast<uint32_t>(-40), 260});
  display_->fill(window, 0x0000ff, 150, 5, 100, 100);
  xcb_warp_pointer(display_->connection(), XCB_NONE, window, 0, 0, 0, 0, 112, 34);
  display_->sync();
  const Screenshot there = display_->screenshot(window);
  ASSERT_EQ(there.width, 260);
  ASSERT_TRUE(comes_to_show(there));
  ASSERT_TRUE(eventually([&] {
    const Replayed now = Replay(path).play();
    return now.cursor_x == 112 && now.cursor_y == 34;
  }));

  xcb_destroy_window(display_->connection(), window);
  display_->sync();
  EXPECT_EQ(recorder_->wait(), 0);
  EXPECT_NE(recorder_->output().find("window was closed"), std::string::npos);
  Replayed end = Replay(path).play();
  EXPECT_TRUE(end.frame == there);
  EXPECT_EQ(end.texts[QOM_FOOTER_ITEM_APP], "Painter: a picture");
  EXPECT_EQ(Replay(path).info().state, QOM_STATE_FINISHED);
}

TEST_F(Recording, TellsTheTextsTheApplicationsAndTheInput) {
  start_display();
  const xcb_window_t window = display_->make_window(0, 0, 800, 600, 0);
  display_->set_title(window, "Editor", "one.txt");
  start_recorder({"--user", "ada", "--tfn", "Ada L.", "--host", "h1", "--ip", "192.0.2.7", "--sid",
                  "s9", "--tid", "t3", "--appfmt", "%t (%c) 100%%"});
  const auto application_is = [&](const std::string &text) {
    return eventually([&] { return Replay(path).play().texts[QOM_FOOTER_ITEM_APP] == text; });
  };
  EXPECT_TRUE(application_is("one.txt (Editor) 100%"));
  display_->set_title(window, "Editor", "two.txt");
  EXPECT_TRUE(application_is("two.txt (Editor) 100%"));
  EXPECT_EQ(Replay(path).play().texts.count(QOM_LAST_INPUT), 0u);
  for (int press = 0; press < 20; press++) {
    for (const uint8_t type : {uint8_t{XCB_KEY_PRESS}, uint8_t{XCB_KEY_RELEASE}}) {
      xcb_test_fake_input(display_->connection(), type, 38, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
  }
  display_->sync();
  ASSERT_TRUE(eventually([&] { return Replay(path).play().texts.count(QOM_LAST_INPUT) > 0; }));
  stop_recorder();
  const Replay replay(path);
  const Replayed end = replay.play();
  EXPECT_EQ(end.texts, (std::map<int, std::string>{{QOM_LAST_INPUT, "ada/Ada L."},
                                                   {QOM_FOOTER_ITEM_APP, "two.txt (Editor) 100%"},
                                                   {QOM_FOOTER_ITEM_HOST, "h1"},
                                                   {QOM_FOOTER_ITEM_IP, "192.0.2.7"},
                                                   {QOM_FOOTER_ITEM_SID, "s9"},
                                                   {QOM_FOOTER_ITEM_TID, "t3"},
                                                   {QOM_FOOTER_ITEM_APPFMT, "%t (%c) 100%%"}}));
  EXPECT_STREQ(replay.header().user, "ada");
  EXPECT_STREQ(replay.header().tfn, "Ada L.");
  EXPECT_EQ(std::count(end.types.begin(), end.types.end(), QOM_LAST_INPUT), 1);
  EXPECT_EQ(std::count(end.types.begin(), end.types.end(), QOM_FOOTER_ITEM_APP), 2);
}

TEST_F(Recording, OfAQuietDisplayIsTheFirstPictureAndTheEnd) {
  start_display();
  start_recorder({"--duration", "2.5", "--app", "nothing"});
  EXPECT_EQ(recorder_->wait(), 0);
  const std::vector<int> types = Replay(path).play().types;
  const auto picture = std::find(types.begin(), types.end(), QOM_COMPRESSED_IMAGE);
  ASSERT_NE(picture, types.end());
  EXPECT_EQ(std::vector<int>(picture + 1, types.end()), std::vector<int>{QOM_DONE});
}

TEST_F(Recording, OfAQuietDisplayShowsThatItGoesOnAndWhereItDidNot) {
  start_display();
  start_recorder({"--app", "nothing"});
  const auto seconds = [this] { return Replay(path).seconds(); };
  EXPECT_TRUE(eventually([&] { return seconds() > 4.9; }));
  const size_t before = Replay(path).play().types.size();
  recorder_->signal(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(3500));
  recorder_->signal(SIGCONT);
  ASSERT_TRUE(eventually([&] { return Replay(path).gaps().size() == 1; }));
  EXPECT_TRUE(eventually([&] { return seconds() > 9.8; }));
  recorder_->signal(SIGKILL);
  recorder_->wait();
  const Replay replay(path);
  const QomGap gap = replay.gaps().at(0);
  EXPECT_EQ(gap.reason, QOM_GAP_STOPPED);
  EXPECT_GT(gap.end - gap.begin, 3'000'000u);
  EXPECT_EQ(gap.record, before);
  EXPECT_LE(replay.play().types.size(), before + 2) << "signs of life are few";
}

TEST_F(Recording, BelievesTheWindowManagerWhileItLives) {
  start_display();
  xcb_connection_t *c = display_->connection();
  const xcb_window_t named = display_->make_window(0, 0, 50, 50, 0);
  const xcb_window_t focused = display_->make_window(100, 100, 50, 50, 0);
  const xcb_window_t manager = display_->make_window(-10, -10, 1, 1, 0);
  display_->set_property(named, "WM_NAME", "COMPOUND_TEXT", "\x1b-F\xe1");  // and no class
  display_->set_property(focused, "WM_NAME", "STRING", "caf\xc3\xa9");
  xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, focused, XCB_CURRENT_TIME);
  display_->set_property(display_->root(), "_NET_ACTIVE_WINDOW", named);
  display_->set_property(display_->root(), "_NET_SUPPORTING_WM_CHECK", manager);
  start_recorder();
  const auto application_is = [&](const std::string &text) {
    return eventually([&] { return Replay(path).play().texts[QOM_FOOTER_ITEM_APP] == text; });
  };
  EXPECT_TRUE(application_is("caf\u00e9")) << "a window that does not name itself is no manager's";
  display_->set_property(manager, "_NET_SUPPORTING_WM_CHECK", manager);
  display_->set_property(display_->root(), "_NET_SUPPORTING_WM_CHECK", manager);
  EXPECT_TRUE(application_is("\u03b1"));
  display_->set_property(named, "_NET_WM_NAME", "UTF8_STRING", std::string(70000, 'x') + "\xff");
  EXPECT_TRUE(application_is(std::string(4096, 'x'))) << "huge";
  xcb_destroy_window(c, manager);
  display_->sync();
  EXPECT_TRUE(application_is("caf\u00e9"));
}

TEST_F(Recording, SeesAPointerThatAProgramMovesWithinAFrame) {
  start_display();
  start_recorder();
  for (int16_t step = 1; step <= 8; step++) {
    xcb_warp_pointer(display_->connection(), XCB_NONE, display_->root(), 0, 0, 0, 0, step, 7);
    display_->sync();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  stop_recorder();
  const auto types = Replay(path).play().types;
  EXPECT_GE(std::count(types.begin(), types.end(), QOM_CURSOR_POSITION), 6);
}

TEST_F(Recording, RestatesEverythingWhenMuchWasRecorded) {
  start_display({"Xvfb", "-screen", "0", "160x120x24"});
  start_recorder({"--app", "noise"});
  const xcb_window_t window = display_->make_window(0, 0, 160, 120, 0);
  ASSERT_TRUE(eventually([&] {
    display_->fill_with_noise(window, 0, 0, 160, 120);
    return Replay(path).checkpoints().size() >= 4;
  }));
  expect_last_frame_is_the_display();
  const QomReaderInfo info = Replay(path).info();
  EXPECT_LT(info.checkpoint_bytes * 5, info.record_bytes);
}

TEST_F(Recording, KilledAtAnyMomentKeepsAllButTheLastSecond) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  for (const uintmax_t bytes : {1, 30000, 400000, 1234567}) {
    fs::remove(path);
    start_recorder();
    std::vector<Clock::time_point> drawn{Clock::now()};  // by the colour
    ASSERT_TRUE(eventually([&] {
      display_->fill_with_noise(window, 0, 10, 320, 100);
      display_->fill(window, static_cast<uint32_t>(drawn.size()), 0, 0, 8, 8);
      drawn.push_back(Clock::now());
      return fs::file_size(path) > bytes;
    }));
    const auto killed = Clock::now();
    recorder_->signal(SIGKILL);
    EXPECT_EQ(recorder_->wait(), 128 + SIGKILL);
    const Replay replay(path);
    EXPECT_EQ(replay.info().state, QOM_STATE_UNFINISHED);
    const uint32_t shown = replay.play().frame.pixels[0];
    ASSERT_LT(shown, drawn.size());
    const auto gone = shown + 1 < drawn.size() ? drawn[shown + 1] : killed;
    EXPECT_LT(killed - gone, std::chrono::seconds(1)) << "colour " << shown;
  }
}

TEST_F(Recording, OnAFullDiskStopsAndLeavesAFileThatOpens) {
  start_display();
  const xcb_window_t window = display_->make_window(0, 0, 400, 300, 0);
  start_recorder({}, [] {
    const rlimit limit{500000, 500000};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  ASSERT_TRUE(eventually([&] {
    display_->fill_with_noise(window, 0, 0, 200, 150);
    return recorder_->has_ended();
  }));
  EXPECT_EQ(recorder_->wait(), 1);
  EXPECT_NE(recorder_->output().find("File too large"), std::string::npos) << recorder_->output();
  EXPECT_NE(recorder_->output().find("recorded before is kept:\n" + path + ": "),
            std::string::npos);
  const Replay replay(path);
  EXPECT_GT(replay.play().types.size(), 8u);
}

TEST_F(Recording, EndsProperlyWithTheServer) {
  start_display();
  const xcb_window_t window = display_->make_window(20, 20, 300, 300, 0x112233);
  start_recorder({}, [] { signal(SIGHUP, SIG_IGN); });
  recorder_->signal(SIGHUP);  // as nohup(1) has it
  display_->fill_with_noise(window, 0, 0, 100, 100);
  const Screenshot there = display_->screenshot(display_->root());
  ASSERT_TRUE(comes_to_show(there));
  display_->server().signal(SIGKILL);
  EXPECT_EQ(recorder_->wait(), 0) << recorder_->output();
  EXPECT_NE(recorder_->output().find("X server ended"), std::string::npos);
  EXPECT_EQ(Replay(path).info().state, QOM_STATE_FINISHED);
  EXPECT_TRUE(Replay(path).play().frame == there);
}

// The answers of a broken server: more is told than there is.
TEST_F(Recording, BelievesNoReplyThatIsTooShort) {
  start_display();
  display_->make_window(0, 0, 800, 600, 0x224466);
  const uint8_t shm = opcode_of(xcb_shm_id);
  const uint8_t fixes = opcode_of(xcb_xfixes_id);
  std::atomic<unsigned> told = 0;
  const auto server = lie([&](Answer &answer) {
    const auto [major, minor] = answer.request;
    if (major == shm && minor == XCB_SHM_GET_IMAGE) {
      answer.put(12, uint32_t{4});  // bytes of the image
      told |= 1;
    } else if (major == XCB_GET_IMAGE) {
      answer.put(4, uint32_t{1});
      answer.bytes.resize(32 + 4);
      told |= 2;
    } else if (major == fixes && minor == XCB_XFIXES_GET_CURSOR_IMAGE) {
      answer.put(12, uint16_t{60000});  // width and height
      answer.put(14, uint16_t{60000});
      told |= 4;
    } else if (major == XCB_GET_PROPERTY) {
      answer.put(1, uint8_t{8});
      answer.put(16, uint32_t{1} << 28);  // length of the value
      told |= 8;
    } else if (major == XCB_QUERY_TREE) {
      answer.put(16, uint16_t{60000});  // children
      told |= 16;
    }
  });
  start_recorder();
  ASSERT_TRUE(eventually([&] { return told == 31; })) << told;
  stop_recorder();
  EXPECT_EQ(Replay(path).info().state, QOM_STATE_FINISHED);
  EXPECT_EQ(Replay(path).play().cursor, std::vector<uint32_t>{0});
}

// However the server comes not to answer, the recorder ends and keeps what it has.
TEST_F(Recording, EndsWhenItIsToAlthoughTheServerIsSilent) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  std::atomic<bool> half = false;
  const struct {
    std::string name;
    std::function<void()> begin, end;
    Texts options;
  } cases[] = {{"another program has grabbed it",
                [&] { xcb_grab_server(display_->connection()); },
                [&] { xcb_ungrab_server(display_->connection()); },
                {"--duration", "3"}},
               {"it sends half an answer", [&] { half = true; }, [&] {}, {}},
               {"it is stopped",
                [&] { display_->server().signal(SIGSTOP); },
                [&] { display_->server().signal(SIGCONT); },
                {}}};
  uint32_t colour = 0;
  for (const auto &[name, begin, end, options] : cases) {
    fs::remove(path);
    const auto server = lie([&](Answer &answer) {
      if (!half) return;
      answer.put(4, uint32_t{1000});
      answer.last = true;
    });
    start_recorder(options);
    display_->fill(window, ++colour, 0, 0, 320, 240);
    const Screenshot there = display_->screenshot(display_->root());
    ASSERT_TRUE(comes_to_show(there)) << name;
    begin();
    xcb_flush(display_->connection());
    std::this_thread::sleep_for(
        std::chrono::milliseconds(1500));  // until it has asked for something
    const auto asked = Clock::now();
    if (options.empty()) {
      recorder_->signal(SIGTERM);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      recorder_->signal(SIGINT);
    }
    EXPECT_EQ(recorder_->wait(), 0) << name << recorder_->output();
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(8)) << name;
    EXPECT_EQ(Replay(path).info().state, QOM_STATE_FINISHED) << name;
    EXPECT_TRUE(Replay(path).play().frame == there) << name;
    end();
    display_->sync();
    half = false;
  }
}

TEST_F(Recording, LooksAtALatePictureAtOnceAndTellsThatTheyAreLate) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  rate_ = "10";
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  const uint8_t shm = opcode_of(xcb_shm_id);
  const auto server = lie([&](Answer &answer) {
    if (answer.request != Request{shm, XCB_SHM_GET_IMAGE}) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(130));
  });
  start_recorder({"--duration", "4"});
  for (uint32_t colour = 1; !recorder_->has_ended(); colour++) {
    display_->fill(window, colour, 0, 0, 8, 8);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(recorder_->wait(), 0);
  const std::vector<int> types = Replay(path).play().types;
  EXPECT_GE(std::count(types.begin(), types.end(), QOM_COMPRESSED_IMAGE_BLOCKS), 24);
  EXPECT_NE(recorder_->output().find("pictures a second were kept"), std::string::npos)
      << recorder_->output();
  Process info({QOM_RECORD_PROGRAM, "info", path});
  EXPECT_TRUE(info.prints("a second while the picture changed")) << info.output();
}

TEST_F(Recording, DoesNotWaitForASlowDiskAndTellsWhenItFails) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  const auto with_slow_disk = [] {
    setenv("LD_PRELOAD", QOM_SLOW_DISK, 1);
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
  };
  start_recorder({}, with_slow_disk);
  Clock::duration longest{};
  for (uint32_t colour = 1; colour <= 20; colour++) {
    const auto drawn = Clock::now();
    display_->fill(window, colour, 0, 0, 320, 240);
    ASSERT_TRUE(comes_to_show(display_->screenshot(display_->root())));
    longest = std::max(longest, Clock::now() - drawn);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_LT(longest, std::chrono::milliseconds(2500));
  const auto asked = Clock::now();
  stop_recorder();
  EXPECT_LT(Clock::now() - asked, std::chrono::seconds(9)) << "a sync under way, and the last one";

  fs::remove(path);
  start_recorder({}, [&] {
    with_slow_disk();
    setenv("SLOW_DISK_FAILS", "yes", 1);
  });
  EXPECT_EQ(recorder_->wait(), 1);
  EXPECT_NE(recorder_->output().find("cannot store the recording: Input/output error"),
            std::string::npos)
      << recorder_->output();
  EXPECT_EQ(Replay(path).info().state, QOM_STATE_UNFINISHED);
}

// The socket of a display whose server lets nobody in.
class RefusingServer {
 public:
  RefusingServer() : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string path = "/tmp/.X11-unix/X" + std::to_string(number_);
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path + 1, path.size());
    const size_t length = offsetof(sockaddr_un, sun_path) + 1 + path.size();
    bind(socket_, reinterpret_cast<sockaddr *>(&address), static_cast<socklen_t>(length));
    listen(socket_, 5);
    thread_ = std::thread([this] {
      const int client = accept(socket_, nullptr, nullptr);
      std::array<char, 12> asked{};
      recv(client, asked.data(), asked.size(), MSG_WAITALL);
      const std::array<uint8_t, 12> refusal{0, 2, 11, 0, 0, 0, 1, 0, 'n', 'o', 0, 0};
      send(client, refusal.data(), refusal.size(), MSG_NOSIGNAL);
      close(client);
    });
  }
  ~RefusingServer() {
    thread_.join();
    close(socket_);
  }
  std::string name() const { return ":" + std::to_string(number_); }

 private:
  int number_ = 5000 + getpid();
  int socket_;
  std::thread thread_;
};

TEST_F(Recording, RefusesWhatCannotBeRecorded) {
  const RefusingServer refusing;
  start_display({"Xvfb", "-screen", "0", "320x240x8"});
  const std::string shallow = display_->name();
  const auto shallow_display = std::move(display_);
  start_display();
  put({'m', 'i', 'n', 'e'});
  const std::string other = folder + "/other";
  const auto server = lie([](Answer &answer) { answer.put(24, uint16_t{60000}); });  // vendor
  const auto silent = lie([](Answer &answer) {
    answer.bytes.clear();
    answer.last = true;
  });
  const struct {
    Texts options;
    std::string reason;
  } cases[] = {{{other, "--display", shallow}, "depth 8"},
               {{other, "--display", ":4711"}, "display \":4711\": no X server answers"},
               {{other, "--display", refusing.name()}, "an X server is there"},
               {{other, "--display", server->name()}, "describes itself only in part"},
               {{other, "--display", silent->name(), "--duration", "0.5"}, "no answer came"},
               {{other, "--pixel-format", "rgb999"}, "\"rgb999\" is none of xRGB8888"},
               {{other, "--window", "0x"}, "not a window"},
               {{other, "--fps", "0"}, "--fps"},
               {{other, "--display", display_->name(), "--window", "0x7777777"}, "no such window"},
               {{path, "--display", display_->name()}, "File exists"}};
  for (auto [options, reason] : cases) {
    options.insert(options.begin(), {QOM_RECORD_PROGRAM, "record"});
    Process recorder(options);
    EXPECT_NE(recorder.wait(), 0) << reason;
    EXPECT_NE(recorder.output().find(reason), std::string::npos) << recorder.output();
    EXPECT_FALSE(fs::exists(other)) << reason;
  }
  EXPECT_EQ(fs::file_size(path), 4u);
}

}  // namespace

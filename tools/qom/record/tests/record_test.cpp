// Records real X servers with `qom record` and compares what the recording shows with what was
// there.
#include <signal.h>
#include <sys/resource.h>
#include <xcb/xfixes.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "display.h"
#include "program.h"
#include "replay.h"
#include "reply.h"
#include "session.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using qom::record::reply;
using qomtool::contains;
using std::chrono::milliseconds;

const Texts xvfb{"Xvfb", "-screen", "0", "800x600x24", "-noreset"};

// The recording is at `path`.
class Recording : public qomtool::ProgramTest {
 protected:
  void start_display(Texts command = xvfb) {
    if (command[0] == "Xvnc") {
      command.insert(command.end(), {"-SecurityTypes", "None", "-geometry", "640x480", "-rfbport",
                                     "0", "-rfbunixpath", file("vnc")});
    }
    display_ = std::make_unique<Display>(command);
  }

  // What goes wrong around the recorder; to be called in its process.
  static void preload(const char *trouble) {
    setenv("LD_PRELOAD", QOM_TROUBLE, 1);
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    setenv("TROUBLE", trouble, 1);
  }

  // Returns when the first picture is in the file.
  void start_recorder(
      Texts options = {}, const std::function<void()> &prepare = [] {}) {
    options.insert(options.begin(), {QOM_PROGRAM, "record"});
    options.insert(options.end(), {"--fps", rate_, "--display", display_->name(), path});
    recorder_ = std::make_unique<Process>(options, prepare);
    ASSERT_TRUE(recorder_->prints(" into ")) << recorder_->output();
  }

  void stop_recorder() {
    recorder_->signal(SIGTERM);
    ASSERT_EQ(recorder_->wait(), 0) << recorder_->output();
  }

  std::unique_ptr<Process> start_program(const Texts &command) {
    return std::make_unique<Process>(command,
                                     [this] { setenv("DISPLAY", display_->name().c_str(), 1); });
  }

  // Ends the recording and compares everything that it shows at its end with the display.
  void expect_last_frame_is_the_display() {
    const Screenshot there = display_->settled();
    stop_recorder();
    ASSERT_TRUE(there == display_->screenshot(display_->root()));
    EXPECT_EQ(info().state, QOM_STATE_FINISHED);
    const Replay end(path);
    EXPECT_TRUE(end.frame == there);
    for (const size_t checkpoint : end.checkpoints) {
      const Replay from_there(path, checkpoint);
      EXPECT_TRUE(from_there.frame == there) << "from record " << checkpoint;
      EXPECT_EQ(from_there.texts, end.texts);
      EXPECT_EQ(from_there.cursor, end.cursor);
    }
    xcb_connection_t *c = display_->connection();
    reply<xcb_xfixes_query_version_reply>(c, xcb_xfixes_query_version(c, 4, 0));
    const auto cursor = reply<xcb_xfixes_get_cursor_image_reply>(c, xcb_xfixes_get_cursor_image(c));
    const uint32_t *pixels = xcb_xfixes_get_cursor_image_cursor_image(cursor.get());
    EXPECT_EQ(end.cursor, std::vector<uint32_t>(pixels, pixels + cursor->width * cursor->height));
    EXPECT_EQ(end.cursor_x, cursor->x);
    EXPECT_EQ(end.cursor_y, cursor->y);
    EXPECT_EQ(end.hot_spot, (std::pair<int, int>{cursor->xhot, cursor->yhot}));
  }

  // Whether the recording comes to show this.
  bool comes_to_show(const Screenshot &there) const {
    return eventually([&] { return Replay(path).frame == there; });
  }

  bool application_becomes(const std::string &text) const {
    return eventually([&] { return Replay(path).texts[QOM_FOOTER_ITEM_APP] == text; });
  }

  void warp_pointer(xcb_window_t window, int16_t x, int16_t y) const {
    xcb_warp_pointer(display_->connection(), XCB_NONE, window, 0, 0, 0, 0, x, y);
    display_->sync();
  }

  std::string rate_ = "30";
  std::unique_ptr<Display> display_;
  std::unique_ptr<Process> recorder_;
};

TEST_F(Recording, ShowsADesktopOfRealPrograms) {
  start_display();
  start_recorder();
  const std::string done = file("done");
  const auto xterm = start_program({"xterm", "-geometry", "80x24+10+10", "-e", "sh", "-c",
                                    "ls -l /usr/bin | head -300; touch " + done + "; sleep 1000"});
  const std::string script = file("bounce.tcl");
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
  warp_pointer(display_->root(), 100, 100);
  expect_last_frame_is_the_display();
}

TEST_F(Recording, TakesWhatMovedFromWhereItWas) {
  start_display();
  start_recorder();
  const xcb_window_t window = display_->make_window(20, 30, 500, 300, 0x3366cc);
  display_->fill_with_noise(window, 0, 0, 500, 300);
  ASSERT_TRUE(comes_to_show(display_->settled()));
  const auto before = fs::file_size(path);
  display_->configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {77, 61});
  ASSERT_TRUE(comes_to_show(display_->settled()));
  EXPECT_LT(fs::file_size(path) - before,
            500 * 300);  // of 600,000 bytes that no codec makes smaller
  EXPECT_EQ(std::ranges::count(Replay(path).types, QOM_COPY_AREA), 1);
  expect_last_frame_is_the_display();
}

// What came to be shown at a place of the screen, one after the other.
std::vector<uint32_t> colours_at(QomReader *reader, int x, int y) {
  const Screen screen(qom_screen_open(reader, nullptr));
  std::vector<uint32_t> colours{0};
  for (size_t i = 0; i < qom_reader_index_length(reader); i++) {
    const uint64_t time = qom_reader_index(reader)[i].timestamp;
    QomPicture picture;
    EXPECT_EQ(qom_screen_go_to_time(screen.get(), time), QOM_SCREEN_REACHED);
    EXPECT_EQ(qom_screen_picture(screen.get(), 0, &picture), 0);
    uint32_t pixel;
    std::memcpy(&pixel, picture.pixels + y * picture.stride + x * sizeof pixel, sizeof pixel);
    if (colours.back() != (pixel & 0xffffff)) colours.push_back(pixel & 0xffffff);
  }
  return colours;
}

// What is over a film is not, and all of it follows when it rests and at the end.
TEST_F(Recording, HoldsFilmBackUntilItRests) {
  start_display();
  rate_ = "10";
  start_recorder({"--film-rate", "2", "--film", "lossy"});
  const xcb_window_t window = display_->make_window(100, 80, 320, 240, 0x3366cc);
  const auto begun = Clock::now();
  const auto play = [&](int pictures, const std::function<void(int)> &beside) {
    for (int i = 0; i < pictures; i++) {
      display_->fill_with_noise(window, 0, 0, 320, 160);
      beside(i);
      std::this_thread::sleep_for(milliseconds(40));
    }
  };
  play(40, [](int) {});
  const xcb_window_t over = display_->make_window(180, 100, 100, 50, 1);
  constexpr uint32_t entries = 12;
  play(96, [&](int i) { display_->fill(over, 0x111111 * (1 + i / 8), 0, 0, 100, 50); });
  ASSERT_TRUE(comes_to_show(display_->settled()));
  play(40, [](int) {});
  const std::chrono::duration<double> played = Clock::now() - begun;
  stop_recorder();
  EXPECT_TRUE(Replay(path).frame == display_->screenshot(display_->root()));

  const Reader reader = open();
  const std::vector<uint32_t> menu = colours_at(reader.get(), 230, 125);
  uint32_t seen = 0;
  for (uint32_t i = 1; i <= entries; i++) seen += std::ranges::count(menu, 0x111111 * i) > 0;
  EXPECT_GE(seen, entries - 2);  // at the rate of the film there were eight at most
  // Twice a second, but for the pictures by which it is found to be film, and those at rest.
  const size_t film = colours_at(reader.get(), 300, 200).size();
  EXPECT_LE(film, 2 * played.count() + 14);
  EXPECT_GE(film, played.count());
  const auto info = nlohmann::json::parse(qom({"info", "--json", path}).out);
  ASSERT_GE(info["film"]["areas"].size(), 2u);
  EXPECT_EQ(info["film"]["areas"][0]["pictures_per_second"], 2);
  EXPECT_GT(info["film"]["share_of_time"].get<double>(), 0.5);
  EXPECT_NEAR(
      info["film"]["share_of_area"].get<double>() / info["film"]["share_of_time"].get<double>(),
      320.0 * 160 / (800 * 600), 0.03);
  EXPECT_TRUE(contains(qom({"verify", path}).out, "film was held back or lossy"));
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
uint32_t converted(uint32_t pixel, const std::string &format) {
  const uint32_t red = pixel >> 16 & 0xff;
  const uint32_t green = pixel >> 8 & 0xff;
  const uint32_t blue = pixel & 0xff;
  if (format == "RGB565") return red / 8 << 11 | green / 4 << 5 | blue / 8;
  if (format == "BGR565") return blue / 8 << 11 | green / 4 << 5 | red / 8;
  if (format == "rgb332") return red / 32 << 5 | green / 32 << 2 | blue / 64;
  if (format == "bgr233") return blue / 64 << 6 | green / 32 << 3 | red / 32;
  if (format == "xRGB8888") {  // from RGB565: wider channels repeat their highest bits
    const uint32_t r = pixel >> 11, g = pixel >> 5 & 63, b = pixel & 31;
    return (r << 3 | r >> 2) << 16 | (g << 2 | g >> 4) << 8 | (b << 3 | b >> 2);
  }
  if (format == "BGRx8888") return blue << 24 | green << 16 | red << 8;
  return pixel;
}

// What was drawn right before the end of a recording, whatever its pixels.
TEST_F(Recording, KeepsPixelsOrCutsOffTheLowestBitsOfEachChannel) {
  const struct {
    Texts server;
    PixelFormat recorded;
    std::string asked = {};  // with --pixel-format; none for the server's own
  } cases[] = {{xvfb, RGB565, "RGB565"},
               {xvfb, BGR565, "BGR565"},
               {xvfb, RGB332, "rgb332"},
               {xvfb, BGR233, "bgr233"},
               {xvfb, BGRx8888, "BGRx8888"},
               {{"Xvfb", "-screen", "0", "801x601x16"}, RGB565},
               {{"Xvfb", "-screen", "0", "801x601x16"}, xRGB8888, "xRGB8888"},
               {{"Xvfb", "-screen", "0", "801x601x24", "-extension", "MIT-SHM"}, xRGB8888},
               {{"Xvnc", "-depth", "24", "-pixelformat", "bgr888"}, xBGR8888},
               {{"Xvnc", "-depth", "16", "-pixelformat", "bgr565"}, BGR565}};
  rate_ = "0.1";
  for (const auto &[server, recorded, asked] : cases) {
    SCOPED_TRACE(testing::PrintToString(server) + asked);
    fs::remove(path);
    start_display(server);
    start_recorder(asked.empty() ? Texts{} : Texts{"--pixel-format", asked});
    const xcb_window_t window = display_->make_window(31, 17, 900, 700, 0xf81f);
    for (int i = 0; i < 20; i++) {  // down to the lower right corner
      display_->fill_with_noise(window, i * 40, i * 31, 33 + i, 20);
      display_->configure(window, XCB_CONFIG_WINDOW_X, {static_cast<uint32_t>(31 + 9 * i)});
    }
    Screenshot expected = display_->settled();
    for (uint32_t &pixel : expected.pixels) pixel = converted(pixel, asked);
    stop_recorder();
    EXPECT_TRUE(Replay(path).frame == expected);
    EXPECT_EQ(Replay(path).header.pixel_format, recorded);
  }
}

TEST_F(Recording, OfOneWindowHasItsPixelsWhereverItIs) {
  start_display();
  const xcb_window_t window = display_->make_window(50, 50, 200, 150, 0x804020);
  display_->set_property(window, "WM_CLASS", "STRING", std::string("p\0Painter\0", 10));
  start_recorder({"--window", std::to_string(window)});
  EXPECT_TRUE(application_becomes("Painter"));
  display_->set_property(window, "WM_NAME", "STRING", "a picture");
  display_->fill_with_noise(window, 10, 10, 60, 60);
  display_->make_window(100, 100, 300, 300, 0xffffff);  // covers a part of it
  display_->fill(window, 0x00ff00, 100, 80, 90, 60);    // which is drawn on nevertheless
  display_->configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_WIDTH,
                      {static_cast<uint32_t>(-40), 260});
  display_->fill(window, 0x0000ff, 150, 5, 100, 100);
  warp_pointer(window, 112, 34);
  const Screenshot there = display_->screenshot(window);
  ASSERT_EQ(there.width, 260);
  ASSERT_TRUE(eventually([&] {
    const Replay now(path);
    return now.frame == there && now.cursor_x == 112 && now.cursor_y == 34;
  }));
  EXPECT_TRUE(application_becomes("Painter: a picture"));
  xcb_destroy_window(display_->connection(), window);
  display_->sync();
  EXPECT_EQ(recorder_->wait(), 0);
  EXPECT_TRUE(contains(recorder_->output(), "window was closed"));
  EXPECT_TRUE(Replay(path).frame == there);
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
}

// The window manager is believed while it lives.
TEST_F(Recording, TellsTheTextsTheApplicationsAndTheInput) {
  start_display();
  xcb_connection_t *c = display_->connection();
  const xcb_window_t root = display_->root();
  const xcb_window_t named = display_->make_window(0, 0, 50, 50, 0);
  const xcb_window_t focused = display_->make_window(100, 100, 50, 50, 0);
  const xcb_window_t manager = display_->make_window(-10, -10, 1, 1, 0);
  display_->set_property(named, "WM_NAME", "COMPOUND_TEXT", "\x1b-F\xe1");
  display_->set_property(focused, "WM_NAME", "STRING", "caf\xc3\xa9");  // and no class
  xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, focused, XCB_CURRENT_TIME);
  display_->set_property(root, "_NET_ACTIVE_WINDOW", named);
  display_->set_property(root, "_NET_SUPPORTING_WM_CHECK", manager);
  start_recorder({"--user", "ada", "--tfn", "Ada L.", "--host", "h1", "--ip", "192.0.2.7", "--sid",
                  "s9", "--tid", "t3", "--appfmt", "%t (%c) 100%%"});
  EXPECT_TRUE(application_becomes("caf\u00e9")) << "a manager's window names itself";
  display_->set_property(manager, "_NET_SUPPORTING_WM_CHECK", manager);
  display_->set_property(root, "_NET_SUPPORTING_WM_CHECK", manager);
  EXPECT_TRUE(application_becomes("\u03b1"));
  display_->set_property(named, "_NET_WM_NAME", "UTF8_STRING", std::string(70000, 'x') + "\xff");
  EXPECT_TRUE(application_becomes(std::string(4096, 'x'))) << "huge";
  xcb_destroy_window(c, manager);
  display_->sync();
  EXPECT_TRUE(application_becomes("caf\u00e9"));
  display_->set_property(focused, "WM_CLASS", "STRING", std::string("e\0Editor\0", 9));
  EXPECT_TRUE(application_becomes("caf\u00e9 (Editor) 100%"));
  EXPECT_FALSE(Replay(path).texts.contains(QOM_LAST_INPUT));
  for (int press = 0; press < 20; press++) {
    xcb_test_fake_input(c, XCB_KEY_PRESS, 38, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_test_fake_input(c, XCB_KEY_RELEASE, 38, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
  }
  display_->sync();
  ASSERT_TRUE(eventually([&] { return Replay(path).texts.contains(QOM_LAST_INPUT); }));
  stop_recorder();
  const Replay end(path);
  EXPECT_EQ(end.texts, (std::map<int, std::string>{{QOM_LAST_INPUT, "ada/Ada L."},
                                                   {QOM_FOOTER_ITEM_APP, "caf\u00e9 (Editor) 100%"},
                                                   {QOM_FOOTER_ITEM_HOST, "h1"},
                                                   {QOM_FOOTER_ITEM_IP, "192.0.2.7"},
                                                   {QOM_FOOTER_ITEM_SID, "s9"},
                                                   {QOM_FOOTER_ITEM_TID, "t3"},
                                                   {QOM_FOOTER_ITEM_APPFMT, "%t (%c) 100%%"}}));
  EXPECT_STREQ(end.header.user, "ada");
  EXPECT_STREQ(end.header.tfn, "Ada L.");
  EXPECT_EQ(std::count(end.types.begin(), end.types.end(), QOM_LAST_INPUT), 1);
}

// Nothing changes but the place of the pointer, which a program moves.
TEST_F(Recording, OfAQuietDisplayShowsThatItGoesOnAndWhereItDidNot) {
  start_display();
  start_recorder({"--app", "nothing"});
  const size_t first = entries().size();
  for (int16_t step = 1; step <= 8; step++) {
    warp_pointer(display_->root(), step, 7);
    std::this_thread::sleep_for(milliseconds(200));
  }
  const size_t before = entries().size();
  EXPECT_GE(before, first + 6) << "each is seen within a frame";
  ASSERT_TRUE(eventually([&] { return entries().size() > before; })) << "a sign of life";
  recorder_->signal(SIGSTOP);
  std::this_thread::sleep_for(milliseconds(3500));
  recorder_->signal(SIGCONT);
  ASSERT_TRUE(eventually([&] { return entries().size() > before + 1; }));
  recorder_->signal(SIGKILL);
  recorder_->wait();
  const Replay end(path);
  size_t count = 0;
  const QomGap *gap = qom_reader_gaps(end.reader.get(), &count);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(gap->reason, QOM_GAP_STOPPED);
  EXPECT_GT(gap->end - gap->begin, 3'000'000u);
  EXPECT_EQ(gap->record, before + 1);
  EXPECT_LE(end.types.size(), before + 2) << "signs of life are few";
}

TEST_F(Recording, RestatesEverythingNowAndThenAndOnAFullDiskStopsAndOpens) {
  start_display({"Xvfb", "-screen", "0", "160x120x24"});
  const xcb_window_t window = display_->make_window(0, 0, 160, 120, 0);
  start_recorder({}, [] {
    const rlimit limit{2000000, 2000000};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  ASSERT_TRUE(eventually([&] {
    display_->fill_with_noise(window, 0, 0, 160, 120);
    return recorder_->has_ended();
  }));
  EXPECT_EQ(recorder_->wait(), 1);
  EXPECT_TRUE(contains(recorder_->output(), "File too large")) << recorder_->output();
  EXPECT_TRUE(contains(recorder_->output(), "recorded before is kept:\n" + path + ": "));
  EXPECT_GE(Replay(path).checkpoints.size(), 3u);
  EXPECT_LT(info().checkpoint_bytes * 5, info().record_bytes);
}

// The answers of a broken server: more is told than there is.
TEST_F(Recording, BelievesNoReplyThatIsTooShort) {
  start_display();
  display_->make_window(0, 0, 800, 600, 0x224466);
  start_recorder({}, [] { preload("lies"); });
  ASSERT_TRUE(recorder_->prints("every lie was told")) << recorder_->output();
  stop_recorder();
  EXPECT_EQ(info().state, QOM_STATE_FINISHED);
  EXPECT_EQ(Replay(path).cursor, std::vector<uint32_t>{0});
}

// However the server comes not to answer, the recorder ends and keeps what it has.
TEST_F(Recording, EndsWhenItIsToAlthoughTheServerIsSilent) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  const struct {
    std::string name;
    std::function<void()> begin, end;
    std::string said;
  } cases[] = {{"another program has grabbed it", [&] { xcb_grab_server(display_->connection()); },
                [&] { xcb_ungrab_server(display_->connection()); }, "time is up"},
               {"it is stopped", [&] { display_->server().signal(SIGSTOP); },
                [&] { display_->server().signal(SIGCONT); }, "stopped"},
               {"it ends", [&] { display_->server().signal(SIGKILL); }, [] {}, "X server ended"}};
  uint32_t colour = 0;
  for (const auto &[name, begin, end, said] : cases) {
    SCOPED_TRACE(name);
    fs::remove(path);
    const bool timed = said == "time is up";
    start_recorder(timed ? Texts{"--duration", "3"} : Texts{}, [] { signal(SIGHUP, SIG_IGN); });
    recorder_->signal(SIGHUP);  // as nohup(1) has it
    display_->fill(window, ++colour, 0, 0, 320, 240);
    const Screenshot there = display_->screenshot(display_->root());
    ASSERT_TRUE(comes_to_show(there));
    begin();
    xcb_flush(display_->connection());
    std::this_thread::sleep_for(milliseconds(1500));  // until it has asked for something
    const auto asked = Clock::now();
    if (!timed) {
      recorder_->signal(SIGTERM);
      std::this_thread::sleep_for(milliseconds(100));
      recorder_->signal(SIGINT);
    }
    EXPECT_EQ(recorder_->wait(), 0) << recorder_->output();
    EXPECT_LT(Clock::now() - asked, std::chrono::seconds(8));
    EXPECT_TRUE(contains(recorder_->output(), said)) << recorder_->output();
    EXPECT_EQ(info().state, QOM_STATE_FINISHED);
    EXPECT_TRUE(Replay(path).frame == there);
    end();
    display_->sync();
  }
}

TEST_F(Recording, LooksAtALatePictureAtOnceAndTellsThatTheyAreLate) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  rate_ = "10";
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  start_recorder({"--duration", "4"}, [] { preload("late"); });
  for (uint32_t colour = 1; !recorder_->has_ended(); colour++) {
    display_->fill(window, colour, 0, 0, 8, 8);
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_EQ(recorder_->wait(), 0);
  const auto types = Replay(path).types;
  EXPECT_GE(std::count(types.begin(), types.end(), QOM_COMPRESSED_IMAGE_BLOCKS), 24);
  EXPECT_TRUE(contains(recorder_->output(), "pictures a second were kept")) << recorder_->output();
  EXPECT_TRUE(contains(qom({"info", path}).out, "a second while the picture changed"));
}

TEST_F(Recording, DoesNotWaitForASlowDiskAndTellsWhenItFails) {
  start_display({"Xvfb", "-screen", "0", "320x240x24"});
  const xcb_window_t window = display_->make_window(0, 0, 320, 240, 0);
  start_recorder({}, [] { preload("slow disk"); });
  const auto begun = Clock::now();
  for (uint32_t colour = 1; colour <= 20; colour++) {
    const auto drawn = Clock::now();
    display_->fill(window, colour, 0, 0, 320, 240);
    ASSERT_TRUE(comes_to_show(display_->screenshot(display_->root())));
    EXPECT_LT(Clock::now() - drawn, milliseconds(2500));
    std::this_thread::sleep_for(milliseconds(100));
  }
  stop_recorder();
  EXPECT_LT(Clock::now() - begun, std::chrono::seconds(20));
  fs::remove(path);
  start_recorder({}, [] { preload("failing disk"); });
  EXPECT_EQ(recorder_->wait(), 1);
  EXPECT_TRUE(contains(recorder_->output(), "cannot store the recording: Input/output error"))
      << recorder_->output();
  EXPECT_EQ(info().state, QOM_STATE_UNFINISHED);
}

TEST_F(Recording, RefusesWhatCannotBeRecorded) {
  start_display({"Xvfb", "-screen", "0", "320x240x8"});
  const auto shallow = std::move(display_);
  start_display();
  const auto frozen = std::move(display_);
  frozen->server().signal(SIGSTOP);
  start_display();
  const std::string there = display_->name();
  put({'m', 'i', 'n', 'e'});
  const std::string other = file("other");
  const struct {
    Texts options;
    const char *reason;
    const char *trouble = "none";
  } cases[] = {{{other, "--display", shallow->name()}, "depth 8"},
               {{other, "--display", ":4711"}, "display \":4711\": no X server answers"},
               {{other, "--display", there}, "an X server is there", "refusal"},
               {{other, "--display", there}, "describes itself only in part", "short setup"},
               {{other, "--display", frozen->name(), "--duration", "0.5"}, "no answer came"},
               {{other, "--display", there, "--window", "0x7777777"}, "no such window"},
               {{path, "--display", there}, "File exists"}};
  for (const auto &one : cases) {
    Texts command{QOM_PROGRAM, "record"};
    command.insert(command.end(), one.options.begin(), one.options.end());
    Process recorder(command, [&] { preload(one.trouble); });
    EXPECT_EQ(recorder.wait(), 1) << one.reason;
    EXPECT_TRUE(contains(recorder.output(), one.reason)) << recorder.output();
    EXPECT_FALSE(fs::exists(other)) << one.reason;
  }
  EXPECT_EQ(fs::file_size(path), 4u);
}

}  // namespace

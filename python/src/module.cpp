// The Python module qom: what is said there, and how it is handed to the engine.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "changes.h"
#include "engine.h"
#include "failure.h"
#include "moments.h"
#include "text/quote.h"

namespace {

namespace py = pybind11;
using namespace qompython;

// --- values for Python -----------------------------------------------------------------------

// Bytes of a recording need not be UTF-8.
py::object text_of(const std::string &bytes) {
  PyObject *text =
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace");
  if (!text) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(text);
}

py::object value_of(const nlohmann::ordered_json &json) {
  using Type = nlohmann::ordered_json::value_t;
  switch (json.type()) {
    case Type::object: {
      py::dict dict;
      for (const auto &[key, value] : json.items()) dict[text_of(key)] = value_of(value);
      return dict;
    }
    case Type::array: {
      py::list list;
      for (const auto &value : json) list.append(value_of(value));
      return list;
    }
    case Type::string:
      return text_of(json.get_ref<const std::string &>());
    case Type::boolean:
      return py::bool_(json.get<bool>());
    case Type::number_integer:
      return py::int_(json.get<int64_t>());
    case Type::number_unsigned:
      return py::int_(json.get<uint64_t>());
    case Type::number_float:
      return py::float_(json.get<double>());
    default:
      return py::none();
  }
}

py::list rectangles_of(const std::vector<QomRectangle> &rectangles) {
  const py::object type = py::module_::import("qom").attr("Rectangle");
  py::list list;
  for (const QomRectangle &r : rectangles) list.append(type(r.x, r.y, r.width, r.height));
  return list;
}

// The part of a side that a screen can have.
int32_t on_screen(int64_t place) {
  return static_cast<int32_t>(std::clamp<int64_t>(place, 0, INT32_C(1) << 16));
}

bool are_four_whole_numbers(const py::object &given) {
  if (PySequence_Check(given.ptr()) == 0 || py::len(given) != 4) return false;
  const auto is_whole = [](py::handle number) { return PyIndex_Check(number.ptr()) != 0; };
  return std::all_of(given.begin(), given.end(), is_whole);
}

std::optional<QomRectangle> rectangle_of(const py::object &given) {
  if (given.is_none()) return std::nullopt;
  std::array<int32_t, 4> sides;
  try {
    sides = given.cast<std::array<int32_t, 4>>();
  } catch (const py::cast_error &) {
    if (are_four_whole_numbers(given))
      throw py::value_error("the rectangle is out of range: its numbers are below 2**31");
    throw py::type_error("a rectangle is four whole numbers: x, y, width and height");
  }
  const auto [x, y, width, height] = sides;
  if (width <= 0 || height <= 0)
    throw py::value_error("the width and height of a rectangle are above 0");
  const int32_t left = on_screen(x);
  const int32_t top = on_screen(y);
  return QomRectangle{left, top, on_screen(int64_t{x} + width) - left,
                      on_screen(int64_t{y} + height) - top};
}

// --- recordings ------------------------------------------------------------------------------

// Leaves the interpreter to other threads for as long as it lives. Where the interpreter has ended
// meanwhile, coming back to it ends the thread, which must be able to leave from here.
class Released {
 public:
  Released() : thread_(PyEval_SaveThread()) {}
  ~Released() noexcept(false) { PyEval_RestoreThread(thread_); }
  Released(const Released &) = delete;
  Released &operator=(const Released &) = delete;

 private:
  PyThreadState *thread_;
};

// What Python holds. All of its functions are called with the interpreter lock.
class Recording {
 public:
  // `file` is the absolute path, or None; `bytes` what the engine reads from, or None.
  Recording(std::unique_ptr<Engine> engine, py::object given, py::object file, py::object bytes,
            bool strict)
      : bytes_(std::move(bytes)),
        engine_(std::move(engine)),
        given_(std::move(given)),
        file_(std::move(file)),
        strict_(strict) {}

  // Does something with the engine while other threads have the interpreter.
  template <typename Work>
  auto apart(const Work &work) {
    const Released released;
    return work(*engine_);
  }

  Engine &engine() const { return *engine_; }
  py::object name() const { return given_; }
  double duration() const { return seconds(engine_->last()); }
  py::object start() const { return datetime_of(engine_->first()); }
  double seconds(uint64_t time) const { return seconds_of(time, engine_->first()); }

  // Any time, and one that the recording has.
  uint64_t time(py::handle moment) const { return time_of(moment, engine_->first()); }
  uint64_t own_time(py::handle moment) const {
    return std::clamp(time(moment), engine_->first(), engine_->last());
  }

  void close() {
    apart([](Engine &engine) { engine.close(); });
    bytes_ = py::none();
  }

  py::array_t<uint8_t> at(const py::object &moment, bool cursor) {
    const uint64_t time = own_time(moment);
    for (PictureSize size = engine_->size();;) {
      py::array_t<uint8_t> rgb({size_t{size.height}, size_t{size.width}, size_t{3}});
      uint8_t *pixels = rgb.mutable_data();
      const Shown shown =
          apart([&](Engine &engine) { return engine.show(time, cursor, size, pixels); });
      if (shown.size == size) {
        if (!shown.trusted) tell_doubt("the picture at " + seconds_text(time));
        if (shown.lossy) tell_lossy(time);
        return rgb;
      }
      size = shown.size;
    }
  }

  py::dict texts(const py::object &moment) {
    static constexpr std::array<const char *, QOM_TEXT_COUNT> kNames = {
        "app", "appfmt", "host", "ip", "user", "tfn", "sid", "tid"};
    const uint64_t time = own_time(moment);
    const Texts texts = apart([time](Engine &engine) { return engine.texts(time); });
    if (!texts.trusted) tell_doubt("what the texts at " + seconds_text(time) + " tell of");
    py::dict dict;
    for (size_t i = 0; i < texts.all.size(); ++i)
      dict[kNames[i]] = texts.all[i] ? text_of(*texts.all[i]) : py::none();
    return dict;
  }

  py::object info() {
    return value_of(apart([](Engine &engine) { return engine.info(); }));
  }

  // Before the first picture there is nothing to see, and nothing changes.
  py::object next_change(const py::object &moment, const py::object &rectangle) {
    const std::optional<QomRectangle> area = rectangle_of(rectangle);
    const uint64_t before = std::max<uint64_t>(engine_->first(), 1) - 1;
    const uint64_t from = std::max(time(moment), before);
    return time_of_change(
        apart([&](Engine &engine) { return engine.next_change(from, area ? &*area : nullptr); }));
  }

  py::object previous_change(const py::object &moment, const py::object &rectangle) {
    const std::optional<QomRectangle> area = rectangle_of(rectangle);
    const uint64_t from = time(moment);
    return time_of_change(apart(
        [&](Engine &engine) { return engine.previous_change(from, area ? &*area : nullptr); }));
  }

  bool is_strict() const { return strict_; }

  void doubt_changes(const Period &period) const {
    tell_doubt("what changed from " + seconds_text(period.from) + " to " + seconds_text(period.to));
  }

  py::list lossy(const py::object &moment) {
    const uint64_t time = own_time(moment);
    return rectangles_of(apart([time](Engine &engine) { return engine.lossy(time); }));
  }

  py::list untrusted() {
    const auto stretches = apart([](Engine &engine) { return engine.untrusted(); });
    py::list list;
    for (const auto &[begin, end] : stretches) {
      if (end <= engine_->first()) continue;
      const bool ends = end != UINT64_MAX;
      list.append(py::make_tuple(seconds(std::max(begin, engine_->first())),
                                 ends ? seconds(end) : std::numeric_limits<double>::infinity()));
    }
    return list;
  }

  std::string repr() const {
    std::string text = "<qom.Recording " + qomtool::quoted_name(engine_->name());
    if (engine_->is_closed()) return text + ", closed>";
    const PictureSize size = engine_->size();
    char more[64];
    (void)std::snprintf(more, sizeof more, ", %ux%u, %.1f s>", size.width, size.height, duration());
    return text + more;
  }

  // Another process opens the file again.
  py::tuple reduce() const {
    if (engine_->is_closed()) throw Closed();
    if (file_.is_none())
      throw py::type_error("a recording in memory cannot be pickled; pickle its bytes");
    return py::make_tuple(py::module_::import("qom").attr("Recording"),
                          py::make_tuple(file_, strict_));
  }

 private:
  py::object time_of_change(const Found &found) const {
    if (!found.trusted) doubt_changes(found.looked_at);
    if (!found.time || *found.time < engine_->first()) return py::none();
    return py::float_(seconds(*found.time));
  }

  std::string seconds_text(uint64_t time) const {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.6f s", seconds(time));
    return text;
  }

  // Says that something need not be what was on the screen.
  void tell_doubt(const std::string &what) const {
    const std::string doubt = qomtool::quoted_name(engine_->name()) +
                              ": the recording is damaged: " + what +
                              " need not be what was on the screen";
    if (strict_) throw Damaged(doubt);
    warn("DamageWarning", doubt);
  }

  void tell_lossy(uint64_t time) const {
    warn("LossyWarning", qomtool::quoted_name(engine_->name()) + ": the picture at " +
                             seconds_text(time) +
                             " has lossy areas, which are near what was on the screen and not the "
                             "same");
  }

  static void warn(const char *name, const std::string &what) {
    const py::object category = py::module_::import("qom").attr(name);
    if (PyErr_WarnEx(category.ptr(), what.c_str(), 1) != 0) throw py::error_already_set();
  }

  py::object bytes_;  // outlives the engine
  std::unique_ptr<Engine> engine_;
  py::object given_;
  py::object file_;
  bool strict_;
};

}  // namespace

// An object whose class did not come to its __init__() is none.
namespace pybind11::detail {

template <typename Held>
struct initialised_caster : type_caster_base<Held> {
  bool load(handle source, bool convert) {
    if (!type_caster_base<Held>::load(source, convert)) return false;
    return reinterpret_cast<instance *>(source.ptr())->get_value_and_holder().holder_constructed();
  }
};

template <>
struct type_caster<Recording> : initialised_caster<Recording> {};

}  // namespace pybind11::detail

namespace {

// An iterator over changes, which keeps its recording.
class ChangeIterator {
 public:
  ChangeIterator(py::object owner, uint64_t from, uint64_t to)
      : owner_(std::move(owner)), recording_(owner_.cast<Recording &>()) {
    changes_.reset(recording_.apart([&](Engine &engine) { return new Changes(engine, from, to); }));
  }

  py::tuple next() {
    const Change change = recording_.apart([this](Engine &) { return changes_->next(); });
    if (!change.trusted && !told_) {
      told_ = !recording_.is_strict();
      recording_.doubt_changes(change.known);
    }
    if (!change.time) throw py::stop_iteration();
    return py::make_tuple(recording_.seconds(*change.time), rectangles_of(change.rectangles));
  }

 private:
  struct DeleteApart {
    void operator()(Changes *changes) const {
      const Released released;
      delete changes;
    }
  };

  py::object owner_;
  Recording &recording_;
  std::unique_ptr<Changes, DeleteApart> changes_;
  bool told_ = false;  // that changes need not be what was on the screen
};

}  // namespace

template <>
struct pybind11::detail::type_caster<ChangeIterator> : initialised_caster<ChangeIterator> {};

namespace {

std::unique_ptr<ChangeIterator> changes_of(py::object self, const py::object &from,
                                           const py::object &to) {
  const auto &recording = self.cast<const Recording &>();
  const Engine &engine = recording.engine();
  const uint64_t begin = from.is_none() ? engine.first() : recording.own_time(from);
  const uint64_t end = to.is_none() ? engine.last() : recording.time(to);
  if (begin > end) throw py::value_error("the changes are to end behind where they begin");
  return std::make_unique<ChangeIterator>(std::move(self), begin, end);
}

// --- opening ---------------------------------------------------------------------------------

template <typename Open>
std::unique_ptr<Engine> engine_of(const std::string &name, const Open &open) {
  const Released released;
  return std::make_unique<Engine>(qomtool::ReaderPtr(open()), name);
}

std::unique_ptr<Recording> open_file(const py::object &path, bool strict) {
  PyObject *encoded = nullptr;
  if (PyUnicode_FSConverter(path.ptr(), &encoded) == 0) throw py::error_already_set();
  const std::string name = py::reinterpret_steal<py::bytes>(encoded);
  const py::object os = py::module_::import("os");
  return std::make_unique<Recording>(
      engine_of(name, [&name] { return qom_reader_open(name.c_str()); }), os.attr("fspath")(path),
      os.attr("path").attr("abspath")(path), py::none(), strict);
}

// Bytes stay as they are; anything else may change, and is copied.
std::unique_ptr<Recording> open_bytes(const py::object &buffer, bool strict) {
  PyObject *bytes = PyBytes_FromObject(buffer.ptr());
  if (!bytes) throw py::error_already_set();
  py::object kept = py::reinterpret_steal<py::object>(bytes);
  const char *data = PyBytes_AS_STRING(bytes);
  const auto length = static_cast<size_t>(PyBytes_GET_SIZE(bytes));
  return std::make_unique<Recording>(
      engine_of("<bytes>", [data, length] { return qom_reader_open_memory(data, length); }),
      py::none(), py::none(), std::move(kept), strict);
}

std::unique_ptr<Recording> open_recording(const py::object &source, bool strict) {
  if (py::isinstance<py::str>(source) || py::hasattr(source, "__fspath__"))
    return open_file(source, strict);
  if (PyObject_CheckBuffer(source.ptr()) != 0) return open_bytes(source, strict);
  throw py::type_error("a recording is opened from a path or from bytes, not " +
                       std::string(py::str(py::type::of(source).attr("__name__"))));
}

// --- the module ------------------------------------------------------------------------------

void define_failures(py::module_ &module) {
  const auto &error = py::register_exception<Error>(module, "Error");
  error.doc() = "What is wrong with a recording, in words.";
  py::register_exception<NotARecording>(module, "NotARecording", error).doc() =
      "The file is no recording, or one that this version cannot read.";
  py::register_exception<Damaged>(module, "Damaged", error).doc() =
      "What was asked for need not be what was on the screen; raised where strict=True.";
  py::exception<void>(module, "DamageWarning", PyExc_UserWarning).doc() =
      "What is returned need not be what was on the screen.";
  py::exception<void>(module, "LossyWarning", PyExc_UserWarning).doc() =
      "A picture has areas that are near what was on the screen and not the same.";
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(std::move(thrown));
    } catch (const SystemFailure &failure) {
      errno = failure.number;
      const py::object file =
          py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefault(failure.file.c_str()));
      PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, file.ptr());
    } catch (const Closed &closed) {
      PyErr_SetString(PyExc_ValueError, closed.what());
    }
  });
}

void define_rectangle(py::module_ &module) {
  const py::object rectangle =
      py::module_::import("collections")
          .attr("namedtuple")("Rectangle", "x y width height", py::arg("module") = "qom");
  rectangle.attr("__doc__") = "A rectangle of the screen: x, y, width and height in pixels.";
  module.attr("Rectangle") = rectangle;
}

void define_changes(py::module_ &module) {
  py::class_<ChangeIterator>(module, "Changes",
                             "An iterator over changes; see Recording.changes().")
      .def("__iter__", [](py::object self) { return self; })
      .def("__next__", &ChangeIterator::next);
}

constexpr const char *kRecordingDoc = R"(A recorded session, as open() returns it.

Closed by close(), at the end of a `with` block, or when nothing refers to it
any more. Threads may use it at once: they take turns, while the interpreter
goes on. To decode at the same time, open the recording once for each thread.

A recording that was opened by a path can be pickled; the other process opens
the file again. A process that was forked while another thread was using the
recording has to open it again, too.)";

constexpr const char *kAtDoc = R"(at(t, cursor=True)

The picture at a moment: a new numpy array of height x width x 3 bytes, which
are red, green and blue. The mouse cursor is in it unless cursor is False.

Times before the first picture are those of the first picture, and times behind
the end those of the end. Where the recording is damaged, the picture may not be
what was on the screen: then a DamageWarning is issued, or Damaged is raised
when the recording was opened with strict=True. To know, a damaged file is read
as a whole, once. Where areas of the picture are lossy (see lossy()), a LossyWarning is
issued.

>>> with qom.open("session.qom") as rec:
...     picture = rec.at(60)
>>> picture.shape, picture.dtype
((800, 1280, 3), dtype('uint8')))";

constexpr const char *kTextsDoc = R"(texts(t)

The texts at a moment, by their names; None where there is none (yet): app,
appfmt, host, ip, user, tfn, sid and tid. Where the picture of the moment need
not be what was on the screen, it is told as by at().

>>> rec = qom.open("session.qom")
>>> rec.texts(60)["app"]
'XCalc: Calculator')";

constexpr const char *kLossyDoc = R"(lossy(t)

The areas of the picture at a moment that are lossy, as a list of Rectangles: they
are near what was on the screen, and not the same. Most recordings have none.

>>> rec = qom.open("session.qom")
>>> rec.lossy(60)
[])";

constexpr const char *kChangesDoc = R"(changes(from_=None, to=None)

An iterator over the changes of the picture from one moment to another, both
included; from the first picture and to the end when they are not given. Each is
a tuple of its time, in seconds, and a list of Rectangles outside of which
the picture is as it was at the change before, without the cursor. The list is
empty when all is drawn as it was.

Iterators neither disturb each other nor other methods. Once the recording is
closed they raise ValueError. Where damage may have hidden changes or made
pictures wrong, a DamageWarning is issued, once for each iterator, or Damaged is
raised in place of each such change, and of the end, with strict=True.

>>> rec = qom.open("session.qom")
>>> for time, rectangles in rec.changes(to=4):
...     print(time, rectangles[0])
0.0 Rectangle(x=0, y=0, width=1280, height=800)
3.402465 Rectangle(x=30, y=40, width=606, height=419))";

constexpr const char *kNextDoc = R"(next_change(t, rectangle=None)

When the picture changes next after a moment, in seconds; None when it does not.
With a rectangle (x, y, width, height), when something is drawn into it.
What only restates the picture is no change. Where damage may have hidden one on
the way, or the picture of the time that is found need not be what was on the
screen, a DamageWarning is issued, or Damaged is raised with strict=True. To know
that, the records of the way are read, once, and a damaged file as a whole.

>>> rec = qom.open("session.qom")
>>> rec.next_change(0)
3.402465
>>> rec.next_change(0, (1000, 100, 50, 50))
24.701875)";

constexpr const char *kPreviousDoc = R"(previous_change(t, rectangle=None)

When the picture changed last before a moment, as next_change().)";

constexpr const char *kInfoDoc =
    R"(What `qom info --json` tells of the recording, as a dict: its state
("finished", "unfinished" or "damaged"), size in bytes, header, number of
records, stretches that were not recorded and more. `man qom` has the details.

>>> rec = qom.open("session.qom")
>>> rec.info["state"], rec.info["records"]["count"]
('finished', 679))";

constexpr const char *kUntrustedDoc =
    R"(The stretches of a damaged recording whose pictures need not be what was
on the screen: a list of tuples of seconds, (from, to), where `to` is not
included and may be math.inf. The whole file is read the first time.

>>> qom.open("session.qom").untrusted
[])";

void define_recording(py::module_ &module) {
  py::class_<Recording>(module, "Recording", kRecordingDoc)
      .def(py::init(&open_recording), py::arg("source"), py::arg("strict") = false, "As open().")
      .def("at", &Recording::at, py::arg("t"), py::arg("cursor") = true, kAtDoc)
      .def("texts", &Recording::texts, py::arg("t"), kTextsDoc)
      .def("lossy", &Recording::lossy, py::arg("t"), kLossyDoc)
      .def("changes", changes_of, py::arg("from_") = py::none(), py::arg("to") = py::none(),
           kChangesDoc)
      .def("next_change", &Recording::next_change, py::arg("t"), py::arg("rectangle") = py::none(),
           kNextDoc)
      .def("previous_change", &Recording::previous_change, py::arg("t"),
           py::arg("rectangle") = py::none(), kPreviousDoc)
      .def("close", &Recording::close, "close()\n\nCloses it; once more does nothing.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Recording &self, const py::args &) { self.close(); })
      .def("__repr__", &Recording::repr)
      .def("__reduce__", &Recording::reduce)
      .def_property_readonly("duration", &Recording::duration,
                             "Seconds from the first picture to the last record.")
      .def_property_readonly("start", &Recording::start,
                             "When the first picture was recorded: a datetime in UTC.")
      .def_property_readonly("info", &Recording::info, kInfoDoc)
      .def_property_readonly("untrusted", &Recording::untrusted, kUntrustedDoc)
      .def_property_readonly("name", &Recording::name,
                             "The path that it was opened by, None for bytes.")
      .def_property_readonly(
          "closed", [](const Recording &self) { return self.engine().is_closed(); },
          "Whether it was closed.");
}

constexpr const char *kModuleDoc = R"(Recorded desktop sessions: their pictures, texts and changes.

>>> import qom
>>> rec = qom.open("session.qom")
>>> rec.duration
172.89134
>>> rec.start.isoformat(" ")
'2026-11-22 23:53:06.658995+00:00'
>>> rec.at(rec.duration / 2).shape
(800, 1280, 3)

A moment `t` of a recording is a number of seconds since its first picture, as
in the viewer and in `qom picture`; a datetime.timedelta since then; or a
datetime.datetime with a time zone. Seconds are rounded to the microsecond, and
times that methods return mean the same moment again. Times as the viewer and
the programs write them, such as "1:30", are no moments here.

Pictures are numpy arrays: the module needs numpy.)";

constexpr const char *kOpenDoc = R"(open(source, strict=False)

Opens the recording at a path (str or os.PathLike), or one in memory (bytes, or
any other buffer, which is copied). A recording that is still being written is
opened as far as it goes; open it again to see more.

With strict=True, pictures, texts and changes that damage may have made wrong
raise Damaged instead of a DamageWarning. Raises NotARecording when it is none, OSError when the
file cannot be read.

>>> qom.open("tour.txt")
Traceback (most recent call last):
qom.NotARecording: tour.txt: not a recording: it does not begin like one)";

// Rather than with the first picture, in the middle of a program.
void require_numpy() {
  try {
    py::module_::import("numpy");
  } catch (py::error_already_set &error) {
    if (!error.matches(PyExc_ModuleNotFoundError)) throw;
    throw py::import_error("numpy is missing: qom needs it (Debian's package python3-numpy)");
  }
}

}  // namespace

PYBIND11_MODULE(qom, module) {
  py::options options;
  options.disable_function_signatures();
  module.doc() = kModuleDoc;
  module.attr("__version__") = QOM_VERSION_TEXT;
  require_numpy();
  define_failures(module);
  define_rectangle(module);
  define_changes(module);
  define_recording(module);
  module.def("open", open_recording, py::arg("source"), py::arg("strict") = false, kOpenDoc);
}

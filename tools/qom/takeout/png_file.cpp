#include "png_file.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <new>
#include <vector>

#include "text/quote.h"

namespace qomtool {
namespace {

// What goes through libpng while it writes.
struct Job {
  std::FILE *file;
  const RgbImage *image;
  png_text *texts;
  int text_count;
  std::string why;  // it failed
};

Job *job_of(png_structp png) {
  return static_cast<Job *>(png_get_io_ptr(png));
}

void write_bytes(png_structp png, png_bytep bytes, size_t count) {
  if (std::fwrite(bytes, 1, count, job_of(png)->file) != count)
    png_error(png, std::strerror(errno));
}

void flush_bytes(png_structp) {}

[[noreturn]] void note_error(png_structp png, const char *what) {
  static_cast<Job *>(png_get_error_ptr(png))->why = what;
  png_longjmp(png, 1);
}

void pass_over_warning(png_structp, const char *) {}

// Nothing here has a destructor: errors of libpng jump out of it.
bool write_all(png_structp png, png_infop info, const Job &job) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  png_set_IHDR(png, info, job.image->size.width, job.image->size.height, 8, PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_text(png, info, job.texts, job.text_count);
  png_write_info(png, info);
  for (uint32_t y = 0; y < job.image->size.height; ++y) png_write_row(png, job.image->row(y));
  png_write_end(png, nullptr);
  return true;
}

// Values as UTF-8 without compression; the keys need no other language.
std::vector<png_text> chunks_of(std::span<const PngText> texts, std::vector<std::string> *values) {
  for (const PngText &text : texts) values->push_back(printable(text.value));
  std::vector<png_text> chunks;
  for (size_t i = 0; i < texts.size(); ++i) {
    png_text chunk = {};
    chunk.compression = PNG_ITXT_COMPRESSION_NONE;
    chunk.key = const_cast<char *>(texts[i].key.c_str());  // never written
    chunk.text = (*values)[i].data();
    chunks.push_back(chunk);
  }
  return chunks;
}

}  // namespace

std::string write_png(std::FILE *file, const RgbImage &image, std::span<const PngText> texts) {
  std::vector<std::string> values;
  std::vector<png_text> chunks = chunks_of(texts, &values);
  Job job{file, &image, chunks.data(), static_cast<int>(chunks.size()), ""};
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, note_error, pass_over_warning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    throw std::bad_alloc();
  }
  png_set_write_fn(png, &job, write_bytes, flush_bytes);
  const bool written = write_all(png, info, job);
  png_destroy_write_struct(&png, &info);
  if (!written) return job.why;
  return std::fflush(file) == 0 ? "" : std::strerror(errno);
}

}  // namespace qomtool

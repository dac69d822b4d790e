#include "host/imageio/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace tessaroc::host {

namespace {

namespace fs = std::filesystem;

std::string Folder(const std::string& target) {
  const std::string folder = fs::path(target).parent_path().string();
  return folder.empty() ? "." : folder;
}

}  // namespace

Result OutputFile::Check(const std::string& target) {
  const std::string folder = Folder(target);
  std::error_code ec;
  if (!fs::is_directory(folder, ec))
    return Result::Fail(errors::kIo, target + ": there is no folder " + folder + " to write it in");
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    return Result::Fail(errors::kIo, target + ": cannot create files in " + folder + ": " + std::strerror(errno));
  if (fs::is_directory(target, ec)) return Result::Fail(errors::kIo, target + ": is a folder");
  // The file is replaced, not rewritten; a file its owner protected stays.
  if (fs::exists(target, ec) && ::access(target.c_str(), W_OK) != 0)
    return Result::Fail(errors::kIo, target + ": may not be overwritten: " + std::strerror(errno));
  return Result::Ok();
}

Result OutputFile::Create(const std::string& target, std::unique_ptr<OutputFile>& out) {
  TESSAROC_RETURN_IF_FAILED(Check(target));
  static std::atomic<unsigned> counter{0};
  const fs::path path(target);
  std::unique_ptr<OutputFile> file(new OutputFile());
  file->target_ = target;
  // Hidden, in the same folder (so that the move is a rename), with the
  // target's extension for writers that look at it.
  for (int attempt = 0; attempt < 100; ++attempt) {
    // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) on "." + std::string.
    std::string name(".");
    name.append(path.filename().string()).append(".").append(std::to_string(::getpid()));
    name.append("-").append(std::to_string(counter++)).append(".tmp").append(path.extension().string());
    file->temporary_ = (path.parent_path() / name).string();
    file->fd_ = ::open(file->temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file->fd_ >= 0 || errno != EEXIST) break;
  }
  if (file->fd_ < 0)
    return Result::Fail(errors::kIo, target + ": cannot create a file beside it: " + std::strerror(errno));
  file->m_filename = file->temporary_;
  file->m_mode = Write;
  out = std::move(file);
  return Result::Ok();
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!committed_ && !temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::Failed(int error) {
  if (error_ == 0) error_ = error != 0 ? error : EIO;
}

bool OutputFile::seek(int64_t offset) {
  if (offset < 0) return false;
  m_pos = offset;
  return true;
}

size_t OutputFile::read(void* buf, size_t size) {
  const size_t n = pread(buf, size, m_pos);
  m_pos += static_cast<int64_t>(n);
  return n;
}

size_t OutputFile::pread(void* buf, size_t size, int64_t offset) {
  size_t done = 0;
  while (fd_ >= 0 && done < size) {
    const ssize_t n = ::pread(fd_, static_cast<char*>(buf) + done, size - done, offset + done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  return done;
}

size_t OutputFile::write(const void* buf, size_t size) {
  const size_t n = pwrite(buf, size, m_pos);
  m_pos += static_cast<int64_t>(n);
  return n;
}

// Reports every byte written, whatever happened: the failure is the file's,
// told once the writer is done (Finish), not the codec's to handle.
size_t OutputFile::pwrite(const void* buf, size_t size, int64_t offset) {
  size_t done = 0;
  while (error_ == 0 && fd_ >= 0 && done < size) {
    const ssize_t n = ::pwrite(fd_, static_cast<const char*>(buf) + done, size - done, offset + done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      Failed(n < 0 ? errno : ENOSPC);
      break;
    }
    done += static_cast<size_t>(n);
  }
  end_ = std::max(end_, offset + static_cast<int64_t>(size));
  return size;
}

Result OutputFile::Finish() {
  if (fd_ >= 0) {
    // Errors a file system reports late (quota, network) show here.
    if (error_ == 0 && ::fsync(fd_) != 0 && errno != EINVAL) Failed(errno);
    if (::close(fd_) != 0 && error_ == 0) Failed(errno);
    fd_ = -1;
  }
  return error_ != 0 ? Failure(std::strerror(error_)) : Result::Ok();
}

Result OutputFile::Failure(std::string why) const {
  std::replace(why.begin(), why.end(), '\n', ' ');
  while (!why.empty() && why.back() == ' ') why.pop_back();
  std::error_code ec;
  const bool previous = fs::exists(target_, ec);
  return Result::Fail(errors::kIo, target_ + ": writing failed: " + why +
                                       (previous ? "; the previous file is left as it was" : "; nothing written"));
}

Result OutputFile::Commit() {
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
    return Result::Fail(errors::kIo, target_ + ": cannot move the written file into place: " + std::strerror(errno));
  committed_ = true;
  return Result::Ok();
}

}  // namespace tessaroc::host

// A file written under a temporary name in its target's folder and moved over
// the target only when it is complete, so that a failed write (a full disk, a
// file size limit) leaves the previous file as it was. Image writers write
// through its I/O proxy, which notes the first failed write instead of
// passing it to the codec: some codecs end the process on a write error.
#pragma once

#include <OpenImageIO/filesystem.h>

#include <memory>
#include <string>

#include "tessaroc/core/result.h"

namespace tessaroc::host {

class OutputFile final : public OIIO::Filesystem::IOProxy {
 public:
  // Fails, naming the folder or the file, when the folder takes no new file
  // or the target exists and may not be written.
  static Result Check(const std::string& target);
  // Creates the temporary file beside `target`.
  static Result Create(const std::string& target, std::unique_ptr<OutputFile>& out);
  // Removes the temporary file unless it was moved into place.
  ~OutputFile() override;

  const std::string& target() const { return target_; }
  const std::string& temporary() const { return temporary_; }

  // Flushes to the disk and closes; fails if any write failed.
  Result Finish();
  // Moves the finished file over the target.
  Result Commit();
  // The failure of writing the target, for `why` (on one line).
  Result Failure(std::string why) const;

  // IOProxy
  const char* proxytype() const override { return "tessaroc-output"; }
  void close() override {}
  bool seek(int64_t offset) override;
  size_t read(void* buf, size_t size) override;
  size_t write(const void* buf, size_t size) override;
  size_t pread(void* buf, size_t size, int64_t offset) override;
  size_t pwrite(const void* buf, size_t size, int64_t offset) override;
  size_t size() const override { return static_cast<size_t>(end_); }

 private:
  OutputFile() = default;
  void Failed(int error);

  std::string target_;
  std::string temporary_;
  int fd_ = -1;
  int64_t end_ = 0;
  int error_ = 0;  // the first errno of a failed write
  bool committed_ = false;
};

}  // namespace tessaroc::host

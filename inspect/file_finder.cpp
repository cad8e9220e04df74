#include "inspect/file_finder.h"

#include <algorithm>
#include <array>
#include <set>

namespace inspect {

namespace fs = std::filesystem;

namespace {

FoundFile unreadable(const fs::path& name, const std::string& what, std::error_code reason) {
  return {FoundFile::Kind::unreadable, name, what + " can't be read: " + reason.message() + "."};
}

FoundFile passedOver(const fs::path& name, const char* reason) {
  return {FoundFile::Kind::passedOver, name, reason};
}

}  // namespace

/// The entries of one folder.
class FileFinder::Folder {
 public:
  explicit Folder(fs::path folder) : folder_(std::move(folder)) {}
  virtual ~Folder() = default;

  const fs::path& path() const { return folder_; }
  /// The next entry. @return false at the end
  /// @param reason  set when the folder can't be read on
  virtual bool next(fs::path& name, std::error_code& reason) = 0;

 private:
  fs::path folder_;
};

/// In the order of the file system.
class FileFinder::FolderAsItIs final : public Folder {
 public:
  FolderAsItIs(const fs::path& folder, std::error_code& reason)
      : Folder(folder), entries_(folder, reason) {}

  bool next(fs::path& name, std::error_code& reason) override {
    if (begun_) entries_.increment(reason);
    begun_ = true;
    if (reason || entries_ == fs::directory_iterator()) return false;
    name = entries_->path();
    return true;
  }

 private:
  bool begun_ = false;
  fs::directory_iterator entries_;
};

/// Files, then subfolders, each by name.
class FileFinder::SortedFolder final : public Folder {
 public:
  SortedFolder(const fs::path& folder, const FindOptions& options, std::error_code& reason)
      : Folder(folder), options_(options) {
    readPiece(reason);
  }

  bool next(fs::path& name, std::error_code& reason) override {
    while (names_.empty()) {
      if (pieceIsLast_) {
        if (subfolders_) return false;
        subfolders_ = true;
        after_.reset();
      }
      readPiece(reason);
      if (reason) return false;
    }
    auto first = names_.extract(names_.begin());
    after_ = first.value();
    name = path() / std::move(first.value());
    return true;
  }

 private:
  /// Keeps the smallest names that come after the last one.
  void readPiece(std::error_code& reason) {
    const size_t most = subfolders_ ? options_.subfoldersAtATime : options_.filesAtATime;
    pieceIsLast_ = true;
    for (fs::directory_iterator entry(path(), reason); !reason && entry != fs::directory_iterator();
         entry.increment(reason)) {
      std::error_code ignored;
      const bool isFolder = entry->symlink_status(ignored).type() == fs::file_type::directory;
      fs::path name = entry->path().filename();
      if (isFolder != subfolders_ || (after_ && name.native() <= after_->native())) continue;
      names_.insert(std::move(name));
      if (names_.size() <= most) continue;
      names_.erase(std::prev(names_.end()));
      pieceIsLast_ = false;
    }
  }

  struct ByBytes {
    bool operator()(const fs::path& left, const fs::path& right) const {
      return left.native() < right.native();
    }
  };

  const FindOptions& options_;
  std::set<fs::path, ByBytes> names_;
  std::optional<fs::path> after_;
  bool subfolders_ = false;
  bool pieceIsLast_ = true;
};

FileFinder::FileFinder(NextName nextName, const FindOptions& options)
    : nextName_(std::move(nextName)), options_(options) {}

FileFinder::~FileFinder() = default;

bool FileFinder::next(FoundFile& found) {
  for (;;) {
    if (folders_.empty()) {
      const std::optional<fs::path> name = nextName_();
      if (!name) return false;
      if (begin(*name, found)) return true;
      continue;
    }
    fs::path name;
    std::error_code reason;
    const bool more = folders_.back()->next(name, reason);
    if (reason) {
      found = unreadable(folders_.back()->path(), "The folder", reason);
      folders_.pop_back();
      return true;
    }
    if (!more) {
      folders_.pop_back();
    } else if (take(name, found)) {
      return true;
    }
  }
}

/// A name that the user gives. @return whether `found` was set
bool FileFinder::begin(const fs::path& name, FoundFile& found) {
  std::error_code reason;
  const fs::file_status status = fs::status(name, reason);
  switch (status.type()) {
    case fs::file_type::directory:
      return enter(name, found);
    case fs::file_type::regular:
      found = {FoundFile::Kind::file, name, ""};
      return true;
    case fs::file_type::not_found:
      found = {FoundFile::Kind::unreadable, name, "There is no such file or folder."};
      return true;
    case fs::file_type::none:
      found = unreadable(name, "It", reason);
      return true;
    default:
      found = passedOver(name, "It is a device or a pipe.");
      return true;
  }
}

bool FileFinder::enter(const fs::path& folder, FoundFile& found) {
  std::error_code reason;
  std::unique_ptr<Folder> entered;
  if (options_.sorted) {
    entered = std::make_unique<SortedFolder>(folder, options_, reason);
  } else {
    entered = std::make_unique<FolderAsItIs>(folder, reason);
  }
  if (reason) {
    found = unreadable(folder, "The folder", reason);
    return true;
  }
  folders_.push_back(std::move(entered));
  return false;
}

/// An entry of a folder. @return whether `found` was set
bool FileFinder::take(const fs::path& name, FoundFile& found) {
  std::error_code reason;
  const fs::file_type type = fs::symlink_status(name, reason).type();
  if (type == fs::file_type::directory) {
    if (options_.recursive) return enter(name, found);
    ++subfolders_;
    return false;
  }
  const fs::file_type target =
      type == fs::file_type::symlink ? fs::status(name, reason).type() : type;
  switch (target) {
    case fs::file_type::regular:
      if (!options_.everyName && !hasMediaName(name)) {
        ++otherNames_;
        return false;
      }
      found = {FoundFile::Kind::file, name, ""};
      return true;
    case fs::file_type::directory:  // following it could go in circles
      found = passedOver(name, "It is a link to a folder.");
      return true;
    case fs::file_type::not_found:
      found = passedOver(name, type == fs::file_type::symlink ? "It is a link to nothing."
                                                              : "It has gone meanwhile.");
      return true;
    case fs::file_type::none:
      found = unreadable(name, "It", reason);
      return true;
    default:
      found = passedOver(name, "It is a device or a pipe.");
      return true;
  }
}

bool hasMediaName(const fs::path& name) {
  constexpr std::array kEndings = {".mp4", ".m4a", ".m4b", ".m4p", ".m4r", ".m4v",
                                   ".mov", ".qt",  ".3gp", ".3g2", ".f4v", ".f4a"};
  const fs::path extension = name.extension();
  std::string ending;
  for (const auto c : extension.native()) {
    const bool upper = c >= 'A' && c <= 'Z';
    ending.push_back(static_cast<char>(upper ? c - 'A' + 'a' : c));
  }
  return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

}  // namespace inspect

// FileFinder: the files in folders, one after the other, without holding all their names.
#pragma once
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace inspect {

/// A file to look at, or something that is passed over.
struct FoundFile {
  enum class Kind {
    file,
    passedOver,  ///< no file: a device, a pipe, a link to a folder
    unreadable,  ///< a folder that can't be read, a name that nothing has
  };
  Kind kind = Kind::file;
  std::filesystem::path name;
  std::string reason;  ///< a sentence; empty for a file
};

struct FindOptions {
  bool recursive = false;
  /// The files of a folder by name, byte for byte, then its subfolders in the same way.
  bool sorted = false;
  bool everyName = false;  ///< also files whose names don't end like those of MP4 files
  /// Names that a sorted folder holds at one time: of files, and of subfolders, which stay while
  /// one of them is searched.
  size_t filesAtATime = 65'536;
  size_t subfoldersAtATime = 1024;
};

/// Memory: one piece of the names in one folder, and small pieces for the folders around it. A
/// sorted folder of more files than a piece holds is read again for each piece.
class FileFinder {
 public:
  /// The next name that the user gives, a folder or a file; nothing at the end.
  using NextName = std::function<std::optional<std::filesystem::path>()>;

  FileFinder(NextName nextName, const FindOptions& options);
  ~FileFinder();

  /// The next find. @return false at the end
  bool next(FoundFile& found);

  /// Files so far that were passed over because of their names.
  uint64_t otherNames() const { return otherNames_; }
  /// Subfolders so far that were not entered, because the search is not recursive.
  uint64_t subfolders() const { return subfolders_; }

 private:
  class Folder;
  class FolderAsItIs;
  class SortedFolder;

  bool begin(const std::filesystem::path& name, FoundFile& found);
  bool enter(const std::filesystem::path& folder, FoundFile& found);
  bool take(const std::filesystem::path& name, FoundFile& found);

  NextName nextName_;
  FindOptions options_;
  std::vector<std::unique_ptr<Folder>> folders_;  ///< from the outermost on
  uint64_t otherNames_ = 0;
  uint64_t subfolders_ = 0;
};

/// Whether a name ends like that of an MP4 file or of its relatives: mp4, m4a, m4b, mov, 3gp and so
/// on, in upper or lower case.
bool hasMediaName(const std::filesystem::path& name);

}  // namespace inspect

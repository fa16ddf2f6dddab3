#pragma once

#include <exception>

namespace os {

class DirEnum;

/// Told what a walk meets. Implemented by what removes a tree and by what measures one.
class TreeVisitor {
public:
  /// A folder is about to be read; the top is the first.
  virtual void enterFolder(const char* path);

  /// An element of the folder that was entered last and whose elements are being read. May remove the element.
  /// @return true to enter it as a folder, later: after every element of this folder has been told.
  virtual bool element(const DirEnum& at) = 0;

  /// The folder and everything below it is done. Called for each folder that was entered, the innermost first.
  /// @param failure what kept the folder from being opened or read to its end (a plat::SystemException); null if it
  ///        was read whole. Elements read before a failure have been told, and the folders among them entered.
  virtual void leaveFolder(const char* path, std::exception_ptr failure) = 0;

protected:
  ~TreeVisitor() = default;
};

/// Walks the tree from the folder `top` down. It keeps no descriptor open and no stack frame per level, only the names
/// of the folders still to be entered, so that the depth is limited by the length of paths alone. Each folder found is
/// entered once, so the walk ends whatever the visitor leaves undone. To sum up per folder, keep a stack in the
/// visitor: push in enterFolder, add in element, pop in leaveFolder. What the visitor throws ends the walk.
/// @param followLinks whether a folder below the top may be entered through a link. If not, a folder in whose place
///        somebody has put a link since its element was told fails like one that cannot be opened; links in
///        the place of what lies above it are not noticed.
/// @throws plat::AssertionFail "dirLen > 0" for an empty path
void walkTree(const char* top, TreeVisitor& visitor, bool followLinks);

}  // namespace os

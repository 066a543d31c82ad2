#include "support/paths.h"

namespace wrenfall {

namespace fs = std::filesystem;

fs::path application_dir() { return fs::read_symlink("/proc/self/exe").parent_path(); }
fs::path library_dir() { return application_dir(); }
fs::path local_data_dir() { return fs::temp_directory_path(); }

}  // namespace wrenfall

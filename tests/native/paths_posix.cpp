#include "support/paths.h"

namespace wrenfall {

namespace fs = std::filesystem;

fs::path application_path() { return fs::read_symlink("/proc/self/exe"); }
fs::path application_dir() { return application_path().parent_path(); }
fs::path library_dir() { return application_dir(); }
fs::path local_data_dir() { return fs::temp_directory_path(); }

}  // namespace wrenfall

// Module lookup: the files of the executable and of the libraries loaded into this process, and
// whether another process runs.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

class file;
class directory;

// Whether a process of that id exists and has not ended.
VX_API bool processIsRunning(unsigned long id);

// The handle of a module loaded into this process, by its file name (case is ignored; on this
// system the "lib" prefix and the ".so" suffix with its version may be left out). The empty name
// gives the executable; a name that no loaded module has gives null.
VX_API void* getModuleHandle(const string& name);

// The file of a module: null is the executable. The name is cut at 255 characters, as the system
// call with its buffer of 256 characters cuts it. False for a handle that is no module of this
// process, and for a name that no loaded module has; out is then unchanged.
VX_API bool getModuleFileName(void* module, file& out);
VX_API bool getModuleFileName(const string& name, file& out);

// The folder of that file.
VX_API bool getModulePath(void* module, directory& out);
VX_API bool getModulePath(const string& name, directory& out);

} // namespace vx

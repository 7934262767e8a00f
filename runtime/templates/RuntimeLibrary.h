#pragma once

#include <memory>
#include <string>

namespace orva::templates::platform {

// A library of the runtime loaded by LoadRuntimeLibrary. Destroying the
// record leaves the library loaded: the functions bound from it stay valid
// for the life of the process. unload() closes it explicitly.
class RuntimeLibrary {
public:
    ~RuntimeLibrary();

    RuntimeLibrary(const RuntimeLibrary&) = delete;
    RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;
    RuntimeLibrary(RuntimeLibrary&&) = delete;
    RuntimeLibrary& operator=(RuntimeLibrary&&) = delete;

    // Address of an exported symbol, or null (also after unload()).
    void* symbol(const char* name) const;
    void unload();

    void* handle() const { return handle_; }
    const std::string& path() const { return path_; }
    // Error of the last failed load or unload: errno and the loader's text.
    int lastError() const { return lastError_; }
    const std::string& lastErrorText() const { return lastErrorText_; }

private:
    friend std::unique_ptr<RuntimeLibrary> LoadRuntimeLibrary(const char* name, const char* directory);

    explicit RuntimeLibrary(std::string path);
    bool load();
    void keepError(int error);

    void* handle_ = nullptr;
    bool autoUnload_ = false;
    std::string path_;
    int lastError_ = 0;
    std::string lastErrorText_;
};

// Folder whose lib/ LoadRuntimeLibrary uses, when called without a folder,
// instead of the installation directory; null restores the installation.
// For tests and tools that bring their own runtime libraries.
void SetRuntimeLibraryDirectory(const char* directory);

// Loads <directory>/lib/lib<name>.so, directory defaulting to the
// folder set above, else FindInstallationDirectory(). Null if there's no directory or the load
// fails; nothing is logged.
std::unique_ptr<RuntimeLibrary> LoadRuntimeLibrary(const char* name, const char* directory = nullptr);

} // namespace orva::templates::platform

// Files and folders that live as long as a test needs them.
#pragma once

#include "Base/Bytes.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace netrondo::test {

/// A folder of its own, removed with everything in it.
class TempFolder {
public:
    TempFolder()
    {
        auto pattern = (std::filesystem::temp_directory_path() / "netrondo-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    /// How many entries lie in it.
    std::size_t count() const
    {
        const std::filesystem::directory_iterator entries(path_);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

private:
    std::filesystem::path path_;
};

inline void append(const std::filesystem::path& path, Bytes bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::app);
    const auto text = asText(bytes);
    if (!out.write(text.data(), static_cast<std::streamsize>(text.size())).flush())
        throw std::runtime_error("cannot write " + path.string());
}

/// A file with these bytes, removed with its object.
class TempFile {
public:
    explicit TempFile(Bytes bytes, std::string_view name = "capture.pcap") : path_(folder_ / name)
    {
        append(path_, bytes);
    }

    const std::filesystem::path& path() const { return path_; }
    operator const std::filesystem::path&() const { return path_; }

private:
    TempFolder folder_;
    std::filesystem::path path_;
};

/// The bytes of a file, as text.
inline std::string textOfFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace netrondo::test

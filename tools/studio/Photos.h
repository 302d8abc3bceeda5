// The photographs that the studio was given, decoded once and kept in a few sizes.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/picture/Picture.h"

namespace tool {

// The largest size with the ratio of `full` and at most `pixels` pixels; `full` itself for 0.
Size scaledSize(Size full, long long pixels);

// May be asked from several threads.
class Photos {
public:
    explicit Photos(std::vector<std::string> paths);

    struct Info {
        std::string name;  // without directories
        Size upright;      // {} with an error
        std::string error;
    };
    std::size_t count() const { return m_photos.size(); }
    Info info(std::size_t index);

    // 8-bit planes of the photo as stored, of scaledSize(). A file that has changed is read again. Throws
    // (exit code 3) for what is no picture.
    std::shared_ptr<const Picture> picture(std::size_t index, long long pixels);

    // Changes when the file does. Throws (exit code 3) when there is none.
    std::uint64_t version(std::size_t index) const;

private:
    struct Photo {
        std::string path;
        std::uint64_t version = 0;
        std::shared_ptr<const Picture> full;
        std::map<std::pair<int, int>, std::shared_ptr<const Picture>> scaled;
        std::uint64_t lastUse = 0;
    };
    void forgetOldest(const Photo& keep);

    std::vector<Photo> m_photos;
    std::uint64_t m_uses = 0;
    std::mutex m_mutex;
};

// A picture that somebody sent, upright. Throws (exit code 3).
Picture decodeSent(const std::string& contents, const std::string& name);

}  // namespace tool

#include "image_io.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

#include "libtools.h"

namespace imge {
namespace tool {

namespace {

std::string Lower(std::string s) {
    for (char &c : s)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return s;
}

std::string Extension(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return Lower(path.substr(dot + 1));
}

}  // namespace

Bytes ReadFile(const std::string &path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) throw ToolError{std::strerror(errno)};
    if (S_ISDIR(st.st_mode)) throw ToolError{"is a directory, not an image file"};
    if (!S_ISREG(st.st_mode)) throw ToolError{"not a regular file"};
    FILE *f = std::fopen(path.c_str(), "rb");
    if (!f) throw ToolError{std::string("cannot open: ") + std::strerror(errno)};
    Bytes data;
    std::uint8_t chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) data.insert(data.end(), chunk, chunk + n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) throw ToolError{"read error"};
    if (data.empty()) throw ToolError{"empty file"};
    return data;
}

void WriteFileAtomic(const std::string &path, const Bytes &data) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        throw ToolError{"cannot write: " + path + " is a directory"};
    const size_t slash = path.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    // The scratch file beside the result, made exclusively with the usual
    // permissions (0666 less the umask), under the first free name.
    const std::string stem = (slash == std::string::npos ? std::string() : dir) + "." + base + "." +
                             std::to_string(getpid()) + "-";
    std::string tmp;
    int fd = -1;
    for (unsigned k = 0; fd < 0 && k < 1000; ++k) {
        tmp = stem + std::to_string(k);
        fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) break;
    }
    if (fd < 0) throw ToolError{"cannot write into " + dir + ": " + std::strerror(errno)};
    const char *const scratch = tmp.c_str();
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t w = write(fd, data.data() + done, data.size() - done);
        if (w < 0) {
            if (errno == EINTR) continue;
            const std::string reason = std::strerror(errno);
            close(fd);
            unlink(scratch);
            throw ToolError{"cannot write " + path + ": " + reason};
        }
        done += static_cast<size_t>(w);
    }
    if (close(fd) != 0 || std::rename(scratch, path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        unlink(scratch);
        throw ToolError{"cannot write " + path + ": " + reason};
    }
}

bool FormatForName(const std::string &path, Format *format) {
    const std::string ext = Extension(path);
    if (ext == "png") *format = Format::Png;
    else if (ext == "jpg" || ext == "jpeg") *format = Format::Jpeg;
    else if (ext == "pnm" || ext == "ppm" || ext == "pgm") *format = Format::Pnm;
    else return false;
    return true;
}

const char *FormatName(Format f) {
    switch (f) {
    case Format::Png: return "PNG";
    case Format::Jpeg: return "JPEG";
    case Format::Pnm: return "PNM";
    }
    return "?";
}

namespace {

std::string Reason(IMG_ERROR rc, const char *message) {
    return message[0] ? message : imgErrorString(rc);
}


}  // namespace

ScratchFile::ScratchFile(const char *ext) {
    char name[] = "/tmp/imge-XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) throw ToolError{std::string("cannot make a scratch file: ") + std::strerror(errno)};
    close(fd);
    unlink(name);
    path = std::string(name) + ext;
}

ScratchFile::~ScratchFile() { unlink(path.c_str()); }

Image LoadImage(const std::string &path, const LoadOptions &opt) {
    IMG_LOAD_OPTIONS o{opt.accept_damaged ? 1 : 0, opt.auto_orient ? 1 : 0};
    IMG_BITMAP *b = nullptr;
    char message[256];
    const IMG_ERROR rc = imgLoadBitmapMessage(path.c_str(), &o, &b, message, sizeof message);
    if (rc == IMG_ERROR_NO_MEMORY) throw std::bad_alloc();
    if (rc != IMG_NO_ERROR) throw ToolError{Reason(rc, message)};
    return Image(b);
}

void SaveImage(const IMG_BITMAP &b, const std::string &path, const SaveOptions &opt) {
    Format f;
    if (!FormatForName(path, &f))
        throw ToolError{"cannot tell the output format from the name " + path +
                        " (use .png, .jpg, .jpeg, .pnm, .ppm or .pgm)"};
    Image with_exif;
    const IMG_BITMAP *src = &b;
    IMF_METADATAENTRY extra{IMF_EXIF_METADATA, 0, nullptr, nullptr};
    if (!opt.exif.empty()) {
        with_exif = CloneImage(b);
        extra.Length = static_cast<TLong>(opt.exif.size());
        extra.Data = const_cast<std::uint8_t *>(opt.exif.data());
        extra.Next = static_cast<IMF_METADATAENTRY *>(with_exif->MetaData);
        with_exif->MetaData = &extra;
        src = with_exif.get();
    }
    IMG_SAVE_OPTIONS o{opt.jpeg_quality, opt.subsampling, opt.progressive ? 1 : 0};
    char message[256];
    const IMG_ERROR rc = imgSaveBitmapMessage(path.c_str(), src, &o, message, sizeof message);
    if (with_exif) with_exif->MetaData = extra.Next;  // the stack entry is not the clone's
    if (rc == IMG_ERROR_NO_MEMORY) throw std::bad_alloc();
    if (rc != IMG_NO_ERROR) throw ToolError{"cannot write " + path + ": " + Reason(rc, message)};
}

Image Decode(const Bytes &data) {
    ScratchFile file(".img");
    WriteFileAtomic(file.path, data);
    return LoadImage(file.path);
}

Bytes Encode(const IMG_BITMAP &b, Format f, const SaveOptions &opt) {
    ScratchFile file(f == Format::Png ? ".png" : f == Format::Jpeg ? ".jpg" : ".pnm");
    SaveImage(b, file.path, opt);
    return ReadFile(file.path);
}

}  // namespace tool
}  // namespace imge

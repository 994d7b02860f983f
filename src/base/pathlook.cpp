#include "base/pathlook.h"

#include <QFile>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <type_traits>

namespace fs = std::filesystem;

namespace {

constexpr bool wide = std::is_same_v<fs::path::value_type, wchar_t>;

/// The same bytes that the toolkit gives to the system.
fs::path nativePath(const QString &path)
{
    return wide ? fs::path(path.toStdWString()) : fs::path(QFile::encodeName(path).toStdString());
}

/// Of an entry itself, not of what it leads to. Most systems tell it with the name; asking again for each of a hundred
/// thousand takes longer than all the rest.
fs::file_type typeOf(const fs::directory_entry &entry)
{
    std::error_code error;
    if (entry.is_symlink(error))
        return fs::file_type::symlink;
    if (!error && entry.is_regular_file(error))
        return fs::file_type::regular;
    if (!error && entry.is_directory(error))
        return fs::file_type::directory;
    const bool isGone = error == std::errc::no_such_file_or_directory;
    return error && !isGone ? fs::file_type::none : fs::file_type::unknown;
}

QString nameOf(const fs::path &path)
{
    const fs::path name = path.filename();
    return wide ? QString::fromStdWString(name.wstring()) : QFile::decodeName(QByteArray::fromStdString(name.string()));
}

} // namespace

pathlook::Kind pathlook::kindOf(const QString &path)
{
    std::error_code error;
    switch (fs::status(nativePath(path), error).type()) {
    case fs::file_type::not_found:
        return Kind::Nothing;
    case fs::file_type::regular:
        return Kind::File;
    case fs::file_type::directory:
        return Kind::Folder;
    case fs::file_type::none:
    case fs::file_type::unknown:
        return Kind::Unknown;
    default:
        return Kind::Other;
    }
}

bool pathlook::mayHoldFile(const QString &path)
{
    const Kind kind = kindOf(path);
    return kind == Kind::File || kind == Kind::Unknown;
}

bool pathlook::canBeOpened(const QString &path)
{
    return kindOf(path) == Kind::File && QFile(path).open(QIODevice::ReadOnly);
}

bool pathlook::isNoFile(const QString &path)
{
    const Kind kind = kindOf(path);
    return kind == Kind::Folder || kind == Kind::Other;
}

qint64 pathlook::sizeOf(const QString &path)
{
    std::error_code error;
    const std::uintmax_t size = fs::file_size(nativePath(path), error);
    return error ? -1 : static_cast<qint64>(size);
}

pathlook::Listing pathlook::list(const QString &folder)
{
    Listing listing;
    std::error_code error;
    fs::directory_iterator entry(nativePath(folder), error);
    if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory)
        return listing;
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const fs::file_type type = typeOf(*entry);
        if (type == fs::file_type::regular)
            listing.files.append(nameOf(entry->path()));
        else if (type == fs::file_type::directory)
            listing.folders.append(nameOf(entry->path()));
        else if (type == fs::file_type::none)
            listing.complete = false;
    }
    listing.complete = listing.complete && !error;
    return listing;
}

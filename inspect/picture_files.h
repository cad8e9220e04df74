// The files into which the pictures of a file are saved.
#pragma once
#include <csignal>
#include <filesystem>
#include <vector>

#include "inspect/command.h"
#include "inspect/file.h"
#include "inspect/picture.h"

namespace inspect {

/// The name of the file that a picture is saved in: "song.cover-2.png".
/// @param source  the file that the picture is in; its name without extension begins the new one
/// @param number  of the picture in the file, from 1
std::filesystem::path pictureFileName(const std::filesystem::path& source, const Picture& picture,
                                      size_t number);

/// Copies a picture's bytes into a new file.
/// @throws cli::Failure (outputFailed) also when there is a file of that name, which stays as it is
void savePicture(File& file, const Picture& picture, const std::filesystem::path& target,
                 const Surroundings& surroundings);

}  // namespace inspect

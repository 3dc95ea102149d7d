// Calls of the library on pictures.
#pragma once
#include "image_file.h"
#include "lumcv.h"

namespace tool {

inline LumSize size_of(const Picture& picture) { return {picture.width, picture.height}; }
std::string text_of_size(const Picture& picture);
inline int step_of(const Picture& picture) { return picture.width * picture.channels; }

// What a status of a call says about the picture; `step` is what the call does.
Status check(LumStatus status, const char* step);

// Why two pictures do not go together: another size than that of `other`, whose name is given.
Status check_same_size(const Picture& picture, const Picture& other, const std::string& other_name);

}  // namespace tool

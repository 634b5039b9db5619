#pragma once

#include <string_view>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A KODAK Charmera's card of files so small that a test can sync it a thousand times.

// The folders by which the camera is known.
void makeSmallCard(const FileURL& card);

// A picture of some hundred bytes that needs the camera's repair: taken `minute` minutes after noon (below
// 60), with the picture data number `picture`.
void addSmallPhoto(const FileURL& card, std::string_view name, unsigned picture, unsigned minute);

// A video of a few frames, of the kind that the camera takes.
void addSmallVideo(const FileURL& card, std::string_view name, unsigned seed);

// Where files of that name lie on the card.
FileURL onSmallCard(const FileURL& card, std::string_view name);

}  // namespace tolvander::tests

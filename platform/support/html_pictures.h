// html_pictures.h - which part of the message an <img src> names.
#pragma once

#include <cstdint>
#include <string_view>

#include "input/input.h"

// The sub-document of the part `src` refers to, through the filter's
// locators (LocatorRecord elements): "cid:X" against Content-ID <X>, anything
// else against Content-Location, whole or by its last path segment when only
// one locator has that segment. 0 when no placed part matches.
uint32_t FindPicture(const GrowList* locators, std::string_view src);

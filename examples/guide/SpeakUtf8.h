#pragma once

namespace Guide
{

// For Qt 5 alone: with Qt 6 payloads are UTF-8 in every locale.
void speakUtf8();

} // namespace Guide

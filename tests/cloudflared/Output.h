// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

/// Everything the stand-in says goes to standard error, in one write(2) for each call.
namespace Output {

/// Writes all bytes, waiting for the reader where the pipe is full. Without a reader the process dies of
/// SIGPIPE; with its output closed the bytes are lost.
void write(std::string_view bytes);
/// Writes `text` and a line feed.
void line(std::string_view text);
/// Writes a line that begins with the time: "2026-11-24T17:16:51Z " and `text`.
void stampedLine(std::string_view text);
/// The time stamp of now with the blank after it, in UTC.
std::string stamp();
/// Gives up both output streams: whoever reads them sees the end of file.
void close();

} // namespace Output

// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "GLibNeeds.h"

#include "FileDescriptor.h"

#include <algorithm>
#include <array>
#include <future>
#include <system_error>
#include <thread>

#include <sys/eventfd.h>

bool GLibNeeds::areDescriptorsLeft()
{
    std::array<FileDescriptor, 16> places;
    for (FileDescriptor &place : places)
        place = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    return std::all_of(places.begin(), places.end(),
                       [](const FileDescriptor &place) { return place.isOpen(); });
}

bool GLibNeeds::areThreadsLeft()
{
    std::promise<void> end;
    const std::shared_future<void> ended(end.get_future());
    std::array<std::thread, 4> threads;
    bool areMade = true;
    try {
        for (std::thread &thread : threads)
            thread = std::thread([ended] { ended.wait(); });
    } catch (const std::system_error &) {
        areMade = false;
    }
    end.set_value();
    for (std::thread &thread : threads) {
        if (thread.joinable())
            thread.join();
    }
    return areMade;
}

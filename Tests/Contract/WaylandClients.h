#pragma once

#include "Contract/Eventually.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandDataControl.h"
#include "Platform/Wayland/WaylandTransfers.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// A program of its own that ends with this.
class ForeignProgram {
public:
    /// What the shell runs. What it has to say is no problem of the test's.
    explicit ForeignProgram(const std::string& command) : m_process(fork())
    {
        if (m_process == 0) {
            execl("/bin/sh", "sh", "-c", ("exec 2>/dev/null; exec " + command).c_str(), nullptr);
            _exit(127);
        }
    }
    ~ForeignProgram()
    {
        kill(m_process, SIGTERM);
        waitpid(m_process, nullptr, 0);
    }
    ForeignProgram(const ForeignProgram&) = delete;
    ForeignProgram& operator=(const ForeignProgram&) = delete;

private:
    const pid_t m_process;
};

/// What a command prints; nothing when it fails.
inline std::optional<std::string> outputOf(const std::string& command)
{
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    std::string output;
    char piece[4096];
    for (std::size_t count = 0; (count = fread(piece, 1, sizeof piece, pipe)) > 0;) {
        output.append(piece, count);
    }
    return pclose(pipe) == 0 ? std::optional(output) : std::nullopt;
}

/// Another program with a view of the selections, and the means to take them.
class SelectionPeer {
public:
    enum class Manner {
        atOnce,
        /// Takes requests and never answers them.
        silent,
        /// Begins to answer and never comes to the end.
        stalling,
    };
    using Contents = std::map<std::string, std::string>;

    SelectionPeer()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            m_control = WaylandDataControl::make(
                display, [this](WaylandSelection selection, std::shared_ptr<WaylandDataOffer> offer) {
                    m_offers[selection] = std::move(offer);
                    ++m_changes[selection];
                });
            m_transfers = std::make_unique<WaylandOutgoingTransfers>(display);
            display.roundTrip();
        });
    }
    ~SelectionPeer()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            m_offers.clear();
            m_sources.clear();
            m_transfers.reset();
            m_control.reset();
            display.roundTrip();
            for (const int descriptor : m_unanswered) {
                close(descriptor);
            }
        });
    }
    SelectionPeer(const SelectionPeer&) = delete;
    SelectionPeer& operator=(const SelectionPeer&) = delete;

    /// Takes the selection.
    void offer(const Contents& contents, WaylandSelection selection = WaylandSelection::clipboard,
               Manner manner = Manner::atOnce)
    {
        m_connection.perform([&](WaylandDisplay& display) {
            std::vector<std::string> types;
            for (const auto& [type, bytes] : contents) {
                types.push_back(type);
            }
            m_sources.push_back(
                m_control->offer(selection, types,
                                 {[this, contents, manner](const std::string& type, int descriptor) {
                                      answer(contents.at(type), manner, descriptor);
                                      const std::lock_guard lock(m_mutex);
                                      m_askedTypes.push_back(type);
                                  },
                                  [] {}}));
            display.roundTrip();
        });
    }

    std::vector<std::string> askedTypes() const
    {
        const std::lock_guard lock(m_mutex);
        return m_askedTypes;
    }

    /// How often the selection has changed hands so far, in the eyes of this program.
    int changes(WaylandSelection selection = WaylandSelection::clipboard)
    {
        return m_connection.perform([&](WaylandDisplay& display) {
            display.roundTrip();
            return m_changes[selection];
        });
    }

    bool sees(const std::string& type, WaylandSelection selection = WaylandSelection::clipboard)
    {
        return m_connection.perform([&](WaylandDisplay& display) {
            display.roundTrip();
            return m_offers[selection] && m_offers[selection]->includes(type);
        });
    }

    /// Nothing when the selection cannot be had so.
    std::optional<std::string> read(const std::string& type = "text/plain;charset=utf-8",
                                    WaylandSelection selection = WaylandSelection::clipboard)
    {
        return m_connection.perform([&](WaylandDisplay& display) -> std::optional<std::string> {
            display.roundTrip();
            const auto offer = m_offers[selection];
            if (!offer || !offer->includes(type)) {
                return std::nullopt;
            }
            return receiveContents(display, *offer, type,
                                   {patience, std::chrono::steady_clock::now() + patience});
        });
    }

    /// Asks for the contents and takes no more of them than it must, until told to go on.
    int beginReading(const std::string& type = "text/plain;charset=utf-8")
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        m_connection.perform([&](WaylandDisplay& display) {
            display.roundTrip();
            m_offers[WaylandSelection::clipboard]->receive(type, ends[1]);
            display.roundTrip();
        });
        close(ends[1]);
        return ends[0];
    }

private:
    void answer(const std::string& bytes, Manner manner, int descriptor)
    {
        if (manner == Manner::atOnce) {
            m_transfers->begin(descriptor, std::make_shared<const std::string>(bytes));
            return;
        }
        if (manner == Manner::stalling) {
            EXPECT_EQ(write(descriptor, "begin", 5), 5);
        }
        m_unanswered.push_back(descriptor);
    }

    WaylandConnection m_connection{{}};
    std::unique_ptr<WaylandDataControl> m_control;
    std::unique_ptr<WaylandOutgoingTransfers> m_transfers;
    std::map<WaylandSelection, std::shared_ptr<WaylandDataOffer>> m_offers;
    std::map<WaylandSelection, int> m_changes;
    std::vector<std::unique_ptr<WaylandDataSource>> m_sources;
    std::vector<int> m_unanswered;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_askedTypes;
};

/// Reads what is left in a pipe, and closes it.
inline std::string readToEnd(int descriptor)
{
    std::string bytes;
    char piece[65536];
    for (ssize_t count = 0; (count = read(descriptor, piece, sizeof piece)) > 0;) {
        bytes.append(piece, static_cast<std::size_t>(count));
    }
    close(descriptor);
    return bytes;
}

} // namespace glimmerwick::contract

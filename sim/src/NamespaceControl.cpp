#include "NamespaceControl.h"

#include "Board.h"
#include "Clock.h"
#include "Scenario.h"
#include "SharedLock.h"
#include "SimError.h"
#include "orva_sim.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace orva::sim {

namespace {

using layout::ObjectState;

constexpr std::string_view kObjectPrefix = "/orva-sim.";
constexpr size_t kMaxNamespaceLength = 64;
// How long an opener waits for the creator of an object to set it up.
constexpr uint64_t kSetUpWaitNs = 2 * kNsPerSecond;
// Rounds of open-or-create while other processes create and destroy.
constexpr int kOpenRounds = 100;

// The simulator reads its variables and never changes the environment; a
// program that calls setenv while other threads open boards races with any
// library that reads the environment.
const char* environmentValue(const char* name) {
    return std::getenv(name); // NOLINT(concurrency-mt-unsafe)
}

ObjectState stateOf(layout::Header& header) {
    return static_cast<ObjectState>(std::atomic_ref<uint32_t>(header.state).load(std::memory_order_acquire));
}

void initialiseObject(layout::Header& header, layout::Sync& sync, uint32_t magic, size_t size) {
    header.magic = magic;
    header.version = layout::kLayoutVersion;
    header.size = size;
    initialiseSync(sync);
    std::atomic_ref<uint32_t>(header.state).store(static_cast<uint32_t>(ObjectState::Live), std::memory_order_release);
}

// Waits, bounded, for the creator to finish and checks that the object is
// one this program can use. Returns its state.
ObjectState checkObject(SharedMemory& memory, uint32_t magic) {
    auto& header = *static_cast<layout::Header*>(memory.data());
    const uint64_t deadline = monotonicNs() + kSetUpWaitNs;
    while (stateOf(header) == ObjectState::Uninitialised) {
        if (monotonicNs() >= deadline) {
            throw SimError(ORVA_SIM_ERR_STATE, "shared memory object " + memory.name() +
                                                   " was never set up (its creator died?); run 'orva-sim destroy'");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (header.magic != magic || header.version != layout::kLayoutVersion || header.size != memory.size()) {
        throw SimError(ORVA_SIM_ERR_STATE, "shared memory object " + memory.name() +
                                               " belongs to another simulator version; run 'orva-sim destroy'");
    }
    return stateOf(header);
}

// Marks a board object gone and unlinks it. Objects this program can't read
// are only unlinked.
void removeBoardObject(const std::string& name) {
    try {
        if (auto memory = SharedMemory::open(name, sizeof(layout::BoardBlock))) {
            if (checkObject(*memory, layout::kBoardMagic) == ObjectState::Live) {
                Board::adopt(std::move(memory))->markRemoved();
            }
        }
    } catch (const SimError&) {
        // Unusable object: unlinking is all there is to do.
    }
    SharedMemory::unlink(name);
}

std::unique_ptr<SharedMemory> createBoardObject(const std::string& name) {
    // A usable object of an earlier load is reused, so that processes that
    // hold the board see the new scenario.
    try {
        if (auto memory = SharedMemory::open(name, sizeof(layout::BoardBlock))) {
            if (checkObject(*memory, layout::kBoardMagic) == ObjectState::Live) {
                return memory;
            }
        }
    } catch (const SimError&) {
        // Left by another version or a crashed creator: replaced below.
    }
    SharedMemory::unlink(name);
    auto memory = SharedMemory::create(name, sizeof(layout::BoardBlock));
    if (!memory) {
        throw SimError(ORVA_SIM_ERR_STATE, "board object " + name + " was created by another process meanwhile");
    }
    auto& block = *static_cast<layout::BoardBlock*>(memory->data());
    initialiseObject(block.header, block.sync, layout::kBoardMagic, sizeof(layout::BoardBlock));
    return memory;
}

} // namespace

std::string currentNamespace() {
    const char* value = environmentValue("ORVA_SIM_NAMESPACE");
    std::string ns = value != nullptr && *value != '\0' ? value : "default";
    const bool valid = ns.size() <= kMaxNamespaceLength && std::all_of(ns.begin(), ns.end(), [](char c) {
                           return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_' || c == '-';
                       });
    if (!valid) {
        throw SimError(ORVA_SIM_ERR_INVALID_ARGUMENT, "ORVA_SIM_NAMESPACE '" + ns + "': use at most " +
                                                          std::to_string(kMaxNamespaceLength) +
                                                          " letters, digits, '.', '_' or '-'");
    }
    return ns;
}

std::string controlObjectName(std::string_view ns) {
    return std::string(kObjectPrefix) + std::string(ns) + ".control";
}

std::string boardObjectName(std::string_view ns, uint32_t index) {
    return std::string(kObjectPrefix) + std::string(ns) + ".board" + std::to_string(index);
}

NamespaceControl::NamespaceControl(std::string ns, std::unique_ptr<SharedMemory> memory)
    : ns_(std::move(ns)), memory_(std::move(memory)), block_(static_cast<layout::ControlBlock*>(memory_->data())) {}

NamespaceControl::~NamespaceControl() = default;

std::unique_ptr<NamespaceControl> NamespaceControl::open(const std::string& ns) {
    const std::string name = controlObjectName(ns);
    for (int round = 0; round < kOpenRounds; ++round) {
        if (auto memory = SharedMemory::open(name, sizeof(layout::ControlBlock))) {
            if (checkObject(*memory, layout::kControlMagic) == ObjectState::Live) {
                return std::unique_ptr<NamespaceControl>(new NamespaceControl(ns, std::move(memory)));
            }
            // Destroyed while we looked: its destroyer unlinks it in a moment.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        if (auto memory = SharedMemory::create(name, sizeof(layout::ControlBlock))) {
            auto& block = *static_cast<layout::ControlBlock*>(memory->data());
            initialiseObject(block.header, block.sync, layout::kControlMagic, sizeof(layout::ControlBlock));
            return std::unique_ptr<NamespaceControl>(new NamespaceControl(ns, std::move(memory)));
        }
        // Another process created it between our two attempts: open it.
    }
    throw SimError(ORVA_SIM_ERR_STATE, "namespace '" + ns +
                                           "' could not be opened: it is created and destroyed "
                                           "over and over");
}

void NamespaceControl::checkLive() {
    if (stateOf(block_->header) != ObjectState::Live) {
        throw SimError(ORVA_SIM_ERR_STATE, "namespace '" + ns_ + "' was destroyed meanwhile");
    }
}

void NamespaceControl::ensureLoaded() {
    if (block_->loaded != 0) {
        return;
    }
    const char* file = environmentValue("ORVA_SIM_SCENARIO");
    if (file != nullptr && *file != '\0') {
        const std::string text = readScenarioFile(file);
        loadLocked(parseScenario(text, file), text);
    } else {
        loadLocked(parseScenario(defaultScenarioText(), "built-in scenario"), defaultScenarioText());
    }
}

std::shared_ptr<Board> NamespaceControl::openBoard(uint32_t index) {
    SharedLock lock(block_->sync);
    checkLive();
    ensureLoaded();
    if (index >= layout::kMaxBoards || (block_->presentBoards & (uint64_t{1} << index)) == 0) {
        throw SimError(ORVA_SIM_ERR_NO_SUCH_BOARD, "namespace '" + ns_ + "' has no board " + std::to_string(index));
    }
    const std::string name = boardObjectName(ns_, index);
    auto memory = SharedMemory::open(name, sizeof(layout::BoardBlock));
    if (!memory || checkObject(*memory, layout::kBoardMagic) != ObjectState::Live) {
        throw SimError(ORVA_SIM_ERR_STATE, "board object " + name + " is missing; run 'orva-sim reset'");
    }
    return Board::adopt(std::move(memory));
}

std::vector<uint32_t> NamespaceControl::boards() {
    SharedLock lock(block_->sync);
    checkLive();
    ensureLoaded();
    std::vector<uint32_t> indices;
    for (uint32_t i = 0; i < layout::kMaxBoards; ++i) {
        if ((block_->presentBoards & (uint64_t{1} << i)) != 0) {
            indices.push_back(i);
        }
    }
    return indices;
}

void NamespaceControl::load(std::string_view text, std::string_view source) {
    const Scenario scenario = parseScenario(text, source);
    SharedLock lock(block_->sync);
    checkLive();
    loadLocked(scenario, text);
}

void NamespaceControl::reset() {
    SharedLock lock(block_->sync);
    checkLive();
    if (block_->loaded == 0) {
        ensureLoaded();
        return;
    }
    const std::string text(block_->scenario, block_->scenarioBytes);
    loadLocked(parseScenario(text, "the loaded scenario"), text);
}

void NamespaceControl::loadLocked(const Scenario& scenario, std::string_view text) {
    if (text.size() >= layout::kMaxScenarioBytes) {
        throw SimError(ORVA_SIM_ERR_SCENARIO, "the scenario has " + std::to_string(text.size()) + " bytes; at most " +
                                                  std::to_string(layout::kMaxScenarioBytes - 1) + " are kept");
    }
    uint64_t present = 0;
    for (const BoardSetup& setup : scenario.boards) {
        auto memory = createBoardObject(boardObjectName(ns_, setup.index));
        block_->createdBoards |= uint64_t{1} << setup.index;
        Board::adopt(std::move(memory))->load(setup);
        present |= uint64_t{1} << setup.index;
    }
    for (uint32_t i = 0; i < layout::kMaxBoards; ++i) {
        const uint64_t bit = uint64_t{1} << i;
        if ((block_->createdBoards & bit) != 0 && (present & bit) == 0) {
            removeBoardObject(boardObjectName(ns_, i));
            block_->createdBoards &= ~bit;
        }
    }
    block_->presentBoards = present;
    std::memcpy(block_->scenario, text.data(), text.size());
    block_->scenario[text.size()] = '\0';
    block_->scenarioBytes = static_cast<uint32_t>(text.size());
    block_->loaded = 1;
    ++block_->loadCount;
}

void NamespaceControl::destroy(const std::string& ns) {
    const std::string name = controlObjectName(ns);
    std::unique_ptr<SharedMemory> memory;
    try {
        memory = SharedMemory::open(name, sizeof(layout::ControlBlock));
        if (memory && checkObject(*memory, layout::kControlMagic) != ObjectState::Live) {
            memory.reset();
        }
    } catch (const SimError&) {
        memory.reset(); // unusable: unlinked below all the same
    }
    if (!memory) {
        for (uint32_t i = 0; i < layout::kMaxBoards; ++i) {
            removeBoardObject(boardObjectName(ns, i));
        }
        SharedMemory::unlink(name);
        return;
    }
    auto& block = *static_cast<layout::ControlBlock*>(memory->data());
    SharedLock lock(block.sync);
    // Every index, not only those recorded: a crashed load may have left some.
    for (uint32_t i = 0; i < layout::kMaxBoards; ++i) {
        removeBoardObject(boardObjectName(ns, i));
    }
    block.createdBoards = 0;
    block.presentBoards = 0;
    std::atomic_ref<uint32_t>(block.header.state)
        .store(static_cast<uint32_t>(ObjectState::Removed), std::memory_order_release);
    SharedMemory::unlink(name);
}

} // namespace orva::sim

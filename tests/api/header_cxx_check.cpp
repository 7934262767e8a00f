// Compiled, never run: the public header must be valid C++ and let the
// library's classes stand behind the handle types by deriving from them.
#include "tgx_genicam.h"

#include <cstddef>
#include <iterator>
#include <type_traits>

// The library completes the handle types as empty bases of its own classes.
struct TgxBoardHandle {};
struct TgxCameraHandle {};

namespace {

class Board : public TgxBoardHandle {
public:
    virtual ~Board() = default;
};
class Camera : public TgxCameraHandle {
public:
    virtual ~Camera() = default;
};

static_assert(std::is_convertible_v<Board*, TgxBoardHandle*>);
static_assert(std::is_convertible_v<Camera*, TgxCameraHandle*>);
static_assert(!std::is_convertible_v<Board*, TgxCameraHandle*>, "board and camera handles must not mix");

using AnyFunction = void (*)();

#define TGX_EXPORT(name) reinterpret_cast<AnyFunction>(&name),
[[maybe_unused]] const AnyFunction exportedFunctions[] = {
#include "exported_functions.inc"
};
#undef TGX_EXPORT

static_assert(std::size(exportedFunctions) == 77);

static_assert(sizeof(TgxEventRecord) == 6);
static_assert(offsetof(TgxEventRecord, portMask) == 2);
static_assert(std::is_standard_layout_v<TgxCameraInfo> && std::is_standard_layout_v<TgxConnectionProfile>);

} // namespace

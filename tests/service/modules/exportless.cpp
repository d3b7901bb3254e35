// A shared library that is no provider module.

namespace {

[[maybe_unused]] int nobodySeesThis = 0;

}  // namespace

// Keeps each library non-empty while its subsystem is still being written.
namespace ossa::base { int empty_unit_marker = 0; }

# Debian's cross compiler and multiarch libraries for arm64; scripts/setup_cross.sh arm64 installs them.
set(CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)

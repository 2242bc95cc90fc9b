# Debian's cross compiler and multiarch libraries for armhf; scripts/setup_cross.sh armhf installs them.
set(CROSS_TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/Cross.cmake)

/// Compiled only for a program that links hub/ and has not chosen a platform.
#error "A program links hub/ without a platform: call fw_platform(PROGRAM platform_...) in its CMakeLists.txt"

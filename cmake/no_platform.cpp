/// Compiled only for a program that needs it.
#error "A program links hub/ without a platform: call fw_platform(PROGRAM platform_...) in its CMakeLists.txt"

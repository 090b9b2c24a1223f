# The toolchain for WebAssembly: clang 19 with its libc++ and wasi-libc. Its libc++ has no exceptions.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_FLAGS_INIT "-fno-exceptions")
# A program needs an entry, which the compiler's check has not. Libraries of headers only, for example
# nlohmann/json, are those of the host.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# The flags every target is built with. Warnings are errors: a capture tool that reads hostile bytes cannot afford to
# look away from a sign conversion.
add_library(netrondo-flags INTERFACE)
target_compile_options(
    netrondo-flags
    INTERFACE -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
              $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> -Wcast-qual
              $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
              -Wnull-dereference -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 reports these two inside its own standard library once it has inlined enough of it.
    target_compile_options(netrondo-flags INTERFACE -Wno-error=null-dereference -Wno-null-dereference
                                                    -Wno-restrict -Wno-stringop-overflow -Wno-array-bounds)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # clang hides libstdc++'s <expected> behind a concepts version it does not yet announce.
    target_compile_options(netrondo-flags INTERFACE -D__cpp_concepts=202002L -Wno-builtin-macro-redefined
                                                    -Wno-macro-redefined)
endif()
if(NETRONDO_SANITIZE)
    target_compile_options(netrondo-flags INTERFACE -fsanitize=${NETRONDO_SANITIZE} -fno-sanitize-recover=all
                                                    -fno-omit-frame-pointer)
    target_link_options(netrondo-flags INTERFACE -fsanitize=${NETRONDO_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # The checks that a sanitizer adds keep g++ from seeing that an optional was asked before it was read.
        target_compile_options(netrondo-flags INTERFACE -Wno-maybe-uninitialized)
        if(NETRONDO_SANITIZE MATCHES thread)
            # ThreadSanitizer does not know the fences in Boost.Asio, so a report out of there is to be read with care.
            target_compile_options(netrondo-flags INTERFACE -Wno-tsan)
        endif()
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(netrondo-flags
                               INTERFACE -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignore.txt)
    endif()
endif()

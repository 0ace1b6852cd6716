# Flags that every target of the project shares.
add_library(qrx_options INTERFACE)
target_compile_options(qrx_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
# GCC 12 sees overlaps in its own string concatenation that are not there.
target_compile_options(qrx_options INTERFACE $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-restrict>)
if(QRX_WERROR)
  target_compile_options(qrx_options INTERFACE -Werror)
endif()
target_link_libraries(qrx_options INTERFACE Threads::Threads)
target_include_directories(qrx_options INTERFACE ${PROJECT_SOURCE_DIR}/include)
if(QRX_SANITIZE)
  # The instrumentation makes GCC see uninitialised members that are not.
  target_compile_options(qrx_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_compile_options(qrx_options INTERFACE -fsanitize=${QRX_SANITIZE} -fno-omit-frame-pointer -g1)
  target_link_options(qrx_options INTERFACE -fsanitize=${QRX_SANITIZE})
  if(QRX_SANITIZE MATCHES "undefined")
    target_compile_options(qrx_options INTERFACE -fno-sanitize-recover=undefined)
  endif()
endif()

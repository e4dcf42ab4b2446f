# Toolchain for the 32-bit x86 build (g++-multilib):
#   cmake -S . -B build-i386 -DCMAKE_TOOLCHAIN_FILE=cmake/i386.cmake [-DIMGE_I386_SYSROOT=dir]
# IMGE_I386_SYSROOT names a directory holding unpacked Debian i386 packages
# (see scripts/setup-i386.sh); without it the system's i386 libraries are used.
# SSE2 arithmetic keeps floating-point results identical to the x86-64 build.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu /usr/include/x86_64-linux-gnu)

set(IMGE_I386_SYSROOT "$ENV{IMGE_I386_SYSROOT}" CACHE PATH "Unpacked i386 packages")
if(IMGE_I386_SYSROOT)
  set(_lib ${IMGE_I386_SYSROOT}/usr/lib/i386-linux-gnu)
  set(CMAKE_PREFIX_PATH ${IMGE_I386_SYSROOT}/usr)
  set(CMAKE_LIBRARY_PATH ${_lib})
  set(CMAKE_INCLUDE_PATH ${IMGE_I386_SYSROOT}/usr/include)
  set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${IMGE_I386_SYSROOT}/usr/include/i386-linux-gnu ${IMGE_I386_SYSROOT}/usr/include)
  set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${IMGE_I386_SYSROOT}/usr/include/i386-linux-gnu ${IMGE_I386_SYSROOT}/usr/include)
  # zlib (needed by libpng, hence by the imge tool) lives in /lib, not /usr/lib.
  # Programs get DT_RPATH rather than DT_RUNPATH, so that the sysroot is also
  # searched for the libraries' own dependencies (libpng -> libz).
  set(_rootlib ${IMGE_I386_SYSROOT}/lib/i386-linux-gnu)
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_lib}:${_rootlib} -Wl,--disable-new-dtags")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_lib}:${_rootlib}")
  set(CMAKE_BUILD_RPATH ${_lib} ${_rootlib})
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

# No code of ours calls it: the daemons parse XML with it and get it with quarn::quarn.
find_package(tinyxml2 REQUIRED)

find_package(PkgConfig REQUIRED)
pkg_check_modules(gpiod REQUIRED IMPORTED_TARGET GLOBAL libgpiod)
if(gpiod_VERSION VERSION_GREATER_EQUAL 2)
  message(FATAL_ERROR
    "libgpiod ${gpiod_VERSION} was found, but quarn is written for the version 1 interface (1.6 or later): "
    "install the version 1 development package, or point PKG_CONFIG_PATH at one.")
elseif(gpiod_VERSION VERSION_LESS 1.6)
  message(FATAL_ERROR "libgpiod ${gpiod_VERSION} was found, but quarn needs version 1.6 or later of that line.")
endif()

# The one table of rooms, lowest first, and of the rooms that each may include. CMake reads it for the
# rooms' link edges; the test "layering" reads it to refuse any other include.
set(HBTOOLS_ROOMS
    base core math config diagnostics persistence properties operators threads state localisation
    interchange)

set(HBTOOLS_MAY_INCLUDE_base)
set(HBTOOLS_MAY_INCLUDE_core base)
set(HBTOOLS_MAY_INCLUDE_math base core)
set(HBTOOLS_MAY_INCLUDE_config base core)
set(HBTOOLS_MAY_INCLUDE_diagnostics base core config)
set(HBTOOLS_MAY_INCLUDE_persistence base core math)
set(HBTOOLS_MAY_INCLUDE_properties base core persistence)
set(HBTOOLS_MAY_INCLUDE_operators base core)
set(HBTOOLS_MAY_INCLUDE_threads base core diagnostics)
set(HBTOOLS_MAY_INCLUDE_state base core)
set(HBTOOLS_MAY_INCLUDE_localisation base core config)
set(HBTOOLS_MAY_INCLUDE_interchange base core)

# Headers of other libraries and of the compiler that sources may include, as one expression. Public headers include
# none of them, and headers of the operating system are for C/base/posix/ alone.
set(HBTOOLS_LIBRARY_HEADERS
    "^(fmt/|unicode/|uuid/|CLI/|histedit\\.h$|zlib\\.h$|sodium\\.h$|expat\\.h$|pugixml\\.hpp$|libelf\\.h$|gelf\\.h$|cpuid\\.h$|cxxabi\\.h$|immintrin\\.h$)")

#!/usr/bin/env bash
# Lists the defined external symbols of the static library that a host could
# collide with, and fails if there is one. Allowed are:
#   * names of the flat interfaces: the C names HVSFX_*, HVTralo_* and HVFX_*
#     (HVSFX_Param_Default among them) and C++ names whose outermost name is
#     one (the typeinfo of HVSFX_Param);
#   * C++ names whose outermost name is hvfx (the library's own namespace),
#     one of the exported classes (their members, vtables, typeinfo, guard
#     variables and the like) or one of the FFT kit's functions;
#   * the implementation's own: names beginning with "__" or "DW.ref.__"
#     (reserved to it: the personality routine's reference, sanitizer data),
#     weak instances of templates of the standard library (std::) and the
#     typeinfo of builtin and function types (emitted for the sanitizers).
# And in a vector object (<file>.sse41.cpp.o, <file>.avx2.cpp.o), every
# function must lie in that level's namespaces, hvfx::<family>::<level> or
# hvfx::<family>::target_<level>: any other would be shared with the objects
# built for the baseline (simd/Target.h).
# The outermost name is read off the mangled symbol: after the special-name
# prefixes of the Itanium C++ ABI (_ZGV guard variable, _ZTV/_ZTI/_ZTS/_ZTT
# vtable and typeinfo, _ZTH/_ZTW TLS, _ZGR reference temporary, _ZZ local
# entity), pointer, reference and const marks and the N of a nested name,
# the first <length><identifier>.
# Usage: check_static_symbols.sh <libhvtralofx.a> [nm]
set -euo pipefail
library=$1
nm_tool=${2:-nm}

"$nm_tool" -A -g --defined-only "$library" | awk '
  BEGIN {
    split("CHVAudioEQ_Ts CDynamicRangeControl CAdaptiveVolume_S24 CFiltFiltFxd CFIRFxd CDCBlockerMAFxd " \
          "CNGOIntegratorFxd CDelayLineFxd CSoundbar4Fxd RealFFT_Fix RealInvFFT_Fix RealFFT_2ch_Fix " \
          "RealInvFFT_2ch_Fix ComplexFFT_Fix VectNormBySumAbs_Real VectNormBySumAbs_Complex " \
          "VectLShiftWithSature VectRShiftWithRound", names, " ")
    for (i in names) exported[names[i]] = 1
  }
  # The outermost name of a symbol ("std" for the standard library,
  # "builtin" and "function" for such types).
  function outermost(symbol,    s) {
    if (symbol !~ /^_Z/) return symbol
    s = substr(symbol, 3)
    while (s ~ /^(GV|GR|TV|TT|TI|TS|TH|TW|Z)/) s = substr(s, s ~ /^Z/ ? 2 : 3)
    sub(/^[PRKOV]*/, "", s)
    if (s ~ /^N/) sub(/^N[rVKRO]*/, "", s)
    if (s ~ /^St/) return "std"
    if (s ~ /^F/) return "function"
    if (s ~ /^(D[a-z]|[a-z])$/) return "builtin"
    if (!match(s, /^[0-9]+/)) return ""
    return substr(s, RLENGTH + 1, substr(s, 1, RLENGTH) + 0)
  }
  NF >= 3 {
    split($1, where, ":")
    member = where[2]
    type = $(NF - 1)
    symbol = $NF
    name = outermost(symbol)
    ok = symbol ~ /^(HVSFX_|HVTralo_|HVFX_|__|DW\.ref\.__)/ || name ~ /^(HVSFX_|HVTralo_|HVFX_)/ || name == "hvfx" ||
         (name in exported) || (name == "std" && type ~ /^[VWu]$/) ||
         (name ~ /^(builtin|function)$/ && symbol ~ /^_ZT[IS]/)
    if (ok && type ~ /^[TtWwi]$/ && match(member, /\.(sse41|avx2)\.cpp\.o$/)) {
      level = substr(member, RSTART + 1, RLENGTH - 7)
      ok = symbol ~ ("4hvfx[0-9]+[A-Za-z_]+(" length(level) level "|" length(level) + 7 "target_" level ")[0-9]")
    }
    if (!ok) { print member ": " type " " symbol; bad++ }
  }
  END {
    if (bad) { print bad " symbol(s) outside the allowed names (see tests/check_static_symbols.sh)"; exit 1 }
    print "every defined external symbol is allowed"
  }' | { if command -v c++filt > /dev/null; then c++filt; else cat; fi; }

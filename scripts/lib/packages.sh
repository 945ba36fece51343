# What the scripts share: messages, and the packages that each job needs.
# Sourced by bash, with the root of the tree as the working directory.

say() { printf '== %s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Debian's and Ubuntu's names.
apt_names() {
    case "$1" in
        build) echo g++ cmake ninja-build pkg-config libxml2-dev libboost-dev ;;
        # The last two are what pkg-config --static libxml-2.0 links against.
        test)
            echo abigail-tools libgtest-dev libssl-dev libxml2-utils locales \
                python3 zlib1g-dev liblzma-dev
            apt_names package
            ;;
        package) echo dpkg-dev ;;
        # Beside the first and the last: what the library is compared with.
        bench)
            echo libbenchmark-dev libbotan-2-dev libcrypto++-dev libfmt-dev \
                libgcrypt20-dev libglib2.0-dev libpoco-dev libpugixml-dev \
                libssl-dev nettle-dev uuid-dev python3
            ;;
        clang) echo clang ;;
        # The last one names the functions.
        asan | fuzz) echo clang libclang-rt-dev llvm ;;
        docs) echo doxygen python3 ;;
        # npm brings a compiler. Whoever has it from elsewhere keeps that.
        macos)
            echo lld llvm file
            command -v npm >/dev/null || echo npm
            ;;
        tree) echo git python3 ;;
        format) echo git clang-format ;;
        tidy) echo clang clang-tidy ;;
        cppcheck) echo cppcheck ;;
        coverage) echo gcovr ;;
        mutation) echo git python3 ;;
        memcheck) echo valgrind ;;
        *) fail "no packages are known for '$1'" ;;
    esac
}

# Homebrew's names. The compiler, git, libxml2 and iconv come with Apple's
# command line tools.
brew_names() {
    case "$1" in
        build) echo cmake ninja pkgconf boost ;;
        test) echo googletest openssl ;;
        bench) fail "the benchmarks are for Linux" ;;
        asan | clang | tree) ;;
        docs) echo doxygen ;;
        fuzz) fail "Apple's compiler has no libFuzzer: fuzz on Linux" ;;
        macos) fail "on macOS, the build itself is the check" ;;
        package) fail "on macOS, Homebrew makes the package" ;;
        format) echo clang-format ;;
        tidy) echo llvm ;;
        cppcheck) echo cppcheck ;;
        coverage) echo gcovr ;;
        mutation | memcheck) fail "on macOS, the tests are not run" ;;
        *) fail "no packages are known for '$1'" ;;
    esac
}

apt_has() {
    local state
    state=$(dpkg-query --show --showformat='${db:Status-Status}' "$1" \
        2>/dev/null) && [ "$state" = installed ]
}

brew_has() { brew list --versions "$1" >/dev/null 2>&1; }

apt_install() {
    local as_root=(env)
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "missing packages: $*. Neither root nor sudo is at hand to" \
                "install them: run 'apt-get install $*' as root."
        if ! sudo -n true 2>/dev/null && [ ! -t 0 ]; then
            fail "missing packages: $*. sudo asks for a password and there is" \
                "no terminal: run 'sudo apt-get install $*' in one."
        fi
        as_root=(sudo env)
    fi
    say "installing $*"
    # A list that cannot be renewed need not hinder the packages wanted here.
    "${as_root[@]}" apt-get update -qq ||
        say "apt-get update failed; going on with the lists that are there"
    "${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends -o Dpkg::Use-Pty=0 \
        -o DPkg::Lock::Timeout=120 "$@" >/dev/null ||
        fail "apt-get could not install: $*"
}

brew_install() {
    say "installing $*"
    brew install --quiet "$@" || fail "brew could not install: $*"
}

# need JOB...: installs what is missing for these jobs, and nothing else.
need() {
    local system job name missing=()
    if command -v apt-get >/dev/null; then
        system=apt
    elif command -v brew >/dev/null; then
        system=brew
        xcode-select -p >/dev/null 2>&1 ||
            fail "Apple's command line tools are missing: run" \
                "'xcode-select --install'."
    else
        for job in "$@"; do
            for name in $(apt_names "$job"); do
                missing+=("$name")
            done
        done
        fail "neither apt-get nor brew is here to install packages. Install" \
            "what Debian calls ${missing[*]} by hand, then build with cmake" \
            "and its presets (CMakePresets.json)."
    fi

    for job in "$@"; do
        for name in $("${system}_names" "$job"); do
            "${system}_has" "$name" || missing+=("$name")
        done
    done
    if [ "${#missing[@]}" -ne 0 ]; then
        "${system}_install" "${missing[@]}"
    fi
    # Homebrew keeps llvm's programs off the path.
    if [ "$system" = brew ] && brew_has llvm; then
        PATH="$PATH:$(brew --prefix llvm)/bin"
    fi
}

# The formula by which Homebrew builds the library from a release. The host of
# the address is a placeholder, and so is the checksum, which is filled in when a
# release is made.
class NovuBases < Formula
  desc "Base library of small services for desktop applications"
  homepage "https://novu-bases.example.org/"
  url "https://novu-bases.example.org/releases/novu-bases-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"
  license "MIT"

  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on arch: :x86_64
  depends_on "boost" # Hosts that include ThreadPool.h compile with its headers.

  uses_from_macos "libxml2"

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja",
           "-DNOVU_BUILD_BENCHMARKS=OFF", "-DNOVU_BUILD_EXAMPLES=OFF",
           "-DNOVU_BUILD_TESTS=OFF", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  test do
    (testpath/"test.cpp").write <<~CPP
      #include <Bases/All.h>

      #include <iostream>
      #include <string>

      int main() {
          Novu::BasesInit();
          std::string text;
          Novu::Base64().Encode("foobar", 6, text);
          std::cout << text << std::endl;
          Novu::BasesRelease();
      }
    CPP
    system ENV.cxx, "-std=c++17", "test.cpp", "-I#{include}",
           "-I#{Formula["boost"].opt_include}", "-L#{lib}", "-lNovu-Bases",
           "-o", "test"
    assert_equal "Zm9vYmFy\n", shell_output("./test")
  end
end

# Homebrew's formula. A clone of this repository serves as the tap, and as the source that is built:
#   brew tap tarnel/tarnel URL-OR-PATH-OF-THIS-REPOSITORY
#   brew install --HEAD tarnel/tarnel/tarnel
class Tarnel < Formula
  desc "One queue of the coding agents that wait for you"
  head "file://#{File.expand_path("..", __dir__)}", using: :git

  depends_on "cli11" => :build
  depends_on "cmake" => [:build, :test]
  depends_on "ninja" => :build
  # The installed CMake package asks for these too, so they stay.
  depends_on "pkgconf"
  depends_on "fmt"
  depends_on "pcre2"
  depends_on "simdjson"
  depends_on "utf8proc"

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DTARNEL_TESTS=OFF", "-DTARNEL_SERVICES=", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
    pkgshare.install "examples"
  end

  service do
    run opt_bin/"tarneld"
    keep_alive crashed: true
    environment_variables PATH: std_service_path_env
    error_log_path var/"log/tarneld.log"
  end

  def caveats
    <<~EOS
      To see the panes of a tmux server, run beside the daemon:
        muxle-tmux serve
    EOS
  end

  test do
    socket = testpath/"tarneld.sock"
    daemon = spawn bin/"tarneld", "--socket", socket.to_s, "--machine", "brew"
    begin
      60.times do
        break if socket.exist?

        sleep 0.5
      end
      reply = pipe_output("#{bin}/tarneld bridge --socket #{socket}", "{\"id\":1,\"method\":\"ping\"}\n")
      assert_match '"machine":"brew"', reply
    ensure
      Process.kill "TERM", daemon
      Process.wait daemon
    end

    system "cmake", "-S", pkgshare/"examples/print-queue", "-B", "client", "-DCMAKE_PREFIX_PATH=#{prefix}"
    system "cmake", "--build", "client"
  end
end

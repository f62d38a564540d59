# The cask for Homebrew. scripts/package inserts the version, the checksum of the image, its
# address, and the name of the oldest macOS that it runs on.
cask "quillon" do
  version "@VERSION@"
  sha256 "@SHA256@"

  url "@URL@"
  name "Quillon"
  desc "Desktop assistant with a language model of its own"

  depends_on arch: :arm64
  depends_on macos: :@MACOS@

  app "Quillon.app"
  binary "#{appdir}/Quillon.app/Contents/Resources/quillon"
  manpage "#{appdir}/Quillon.app/Contents/Resources/quillon.1"
  bash_completion "#{appdir}/Quillon.app/Contents/Resources/quillon.bash"
  fish_completion "#{appdir}/Quillon.app/Contents/Resources/quillon.fish"
  zsh_completion "#{appdir}/Quillon.app/Contents/Resources/_quillon"

  uninstall quit: "app.quillon.Quillon"

  zap trash: [
    "~/Library/Application Support/Quillon",
    "~/Library/Caches/Quillon/Quillon",
    "~/Library/Preferences/app.quillon.Quillon.plist",
  ]
end

{
  "targets": [
    {
      "target_name": "zanvodbjs",
      "sources": [
        "<!@(sh scripts/addon_sources.sh)"
      ],
      "include_dirs": ["src", "src/client"],
      "cflags_cc": ["-std=gnu++17", "-O2", "-Wall", "-Wextra", "-fno-exceptions",
                    "-isystem", "<(node_root_dir)/include/node"],
      "cflags_cc!": ["-fno-rtti", "-std=gnu++14", "-std=gnu++1y"],
      "libraries": ["-lpthread"]
    }
  ]
}

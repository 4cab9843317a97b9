"""A service on this machine that the tool can report to and upload to, over TLS, as it would to the real one."""

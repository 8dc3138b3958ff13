// Placeholder until the server lands.

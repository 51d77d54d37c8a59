// The dictation history, read as get_transcripts reads it.

import { DatabaseSync } from 'node:sqlite';

const latestEntries = `
  SELECT e.id, e.timestamp, e.raw_text, e.final_text, e.replaces,
         COALESCE(s.app_display_name, s.app_bundle_id) AS app
  FROM transcript_entries e JOIN sessions s ON s.id = e.session_id
  ORDER BY e.timestamp DESC LIMIT ?`;

// The keys in alphabetical order, as they are to stand in the text.
function entryOf(row) {
  return {
    app: row.app,
    heard: row.raw_text,
    id: row.id,
    ...(row.replaces && { replaces: row.replaces }),
    text: row.final_text,
    time: new Date(Math.floor(row.timestamp * 1000)).toISOString(),
  };
}

export class History {
  #latest;

  constructor(file) {
    this.#latest = new DatabaseSync(file, { readOnly: true }).prepare(latestEntries);
  }

  transcripts({ limit = 20 } = {}) {
    const rows = this.#latest.all(Math.min(Math.max(limit, 1), 200));
    return JSON.stringify(rows.map(entryOf), null, 2);
  }
}

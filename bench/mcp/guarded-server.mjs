// What the comparison servers have in common: an HTTP server that lets in whoever knows the path,
// the method and the key.
//
//   MCP_KEY=… node SERVER.mjs PORT HISTORY TOOLS
//
// HISTORY is the dictation history, TOOLS a file with the definitions of the tools.

import { timingSafeEqual } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { argv, env } from 'node:process';

import { History } from './history.mjs';

const [port, historyFile, toolsFile] = argv.slice(2);
const expected = Buffer.from(`Bearer ${env.MCP_KEY}`);

export const history = new History(historyFile);
export const tools = JSON.parse(readFileSync(toolsFile, 'utf8'));

function isAuthorized(request) {
  const given = Buffer.from(request.headers.authorization ?? '');
  return given.length === expected.length && timingSafeEqual(given, expected);
}

function refusal(request) {
  const path = request.url.split('?', 1)[0];
  if (path !== '/mcp' && path !== '/mcp/') return 404;
  if (!isAuthorized(request)) return 401;
  return request.method === 'POST' ? null : 405;
}

// Serves requests that are let in by `handle(request, response)`.
export function serve(handle) {
  createServer((request, response) => {
    const status = refusal(request);
    if (status) response.writeHead(status, { 'Content-Length': 0 }).end();
    else handle(request, response);
  }).listen(Number(port), '127.0.0.1', 4096);
}

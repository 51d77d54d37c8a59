// A server by hand, on nothing but Node.js: as little as a careful developer gets by with.

import { history, serve, tools } from './guarded-server.mjs';

const methodNotFound = '{"code":-32601,"message":"Method not found"}';
const parseError = '{"code":-32700,"message":"Parse error"}';
const toolList = JSON.stringify({ tools });

// The result as JSON text.
function resultOf(method, params) {
  switch (method) {
    case 'ping':
      return '{}';
    case 'tools/list':
      return toolList;
    case 'tools/call':
      if (params?.name !== 'get_transcripts') return null;
      return JSON.stringify({
        content: [{ type: 'text', text: history.transcripts(params.arguments) }],
        isError: false,
      });
    default:
      return null;
  }
}

function replyTo({ id, method, params }) {
  const result = resultOf(method, params);
  const answer = result ? `"result":${result}` : `"error":${methodNotFound}`;
  return `{"jsonrpc":"2.0","id":${JSON.stringify(id)},${answer}}`;
}

function send(response, status, body) {
  const length = Buffer.byteLength(body);
  response.writeHead(status, { 'Content-Type': 'application/json', 'Content-Length': length });
  response.end(body);
}

serve((request, response) => {
  const chunks = [];
  request.on('data', (chunk) => chunks.push(chunk));
  request.on('end', () => {
    let message;
    try {
      message = JSON.parse(chunks.length === 1 ? chunks[0] : Buffer.concat(chunks));
    } catch {
      send(response, 400, `{"jsonrpc":"2.0","id":null,"error":${parseError}}`);
      return;
    }
    send(response, 200, replyTo(message));
  });
});

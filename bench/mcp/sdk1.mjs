// A server on version 1 of the TypeScript SDK: stateless, with replies as plain JSON. A server and a
// transport serve one request, as the SDK demands where there are no sessions.

import { Server } from '@modelcontextprotocol/sdk/server/index.js';
import { StreamableHTTPServerTransport } from '@modelcontextprotocol/sdk/server/streamableHttp.js';
import { CallToolRequestSchema, ListToolsRequestSchema } from '@modelcontextprotocol/sdk/types.js';

import { history, serve, tools } from './guarded-server.mjs';

function newServer() {
  const server = new Server({ name: 'sdk1', version: '1' }, { capabilities: { tools: {} } });
  server.setRequestHandler(ListToolsRequestSchema, () => ({ tools }));
  server.setRequestHandler(CallToolRequestSchema, ({ params }) => ({
    content: [{ type: 'text', text: history.transcripts(params.arguments) }],
    isError: false,
  }));
  return server;
}

serve(async (request, response) => {
  const server = newServer();
  const transport = new StreamableHTTPServerTransport({
    sessionIdGenerator: undefined,
    enableJsonResponse: true,
  });
  response.on('close', () => server.close());
  await server.connect(transport);
  await transport.handleRequest(request, response);
});

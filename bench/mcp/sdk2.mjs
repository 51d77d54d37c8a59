// The same on version 2 of the TypeScript SDK.

import { NodeStreamableHTTPServerTransport } from '@modelcontextprotocol/node';
import { Server } from '@modelcontextprotocol/server';

import { history, serve, tools } from './guarded-server.mjs';

function newServer() {
  const server = new Server({ name: 'sdk2', version: '1' }, { capabilities: { tools: {} } });
  server.setRequestHandler('tools/list', () => ({ tools }));
  server.setRequestHandler('tools/call', ({ params }) => ({
    content: [{ type: 'text', text: history.transcripts(params.arguments) }],
    isError: false,
  }));
  return server;
}

serve(async (request, response) => {
  const server = newServer();
  const transport = new NodeStreamableHTTPServerTransport({
    sessionIdGenerator: undefined,
    enableJsonResponse: true,
  });
  response.on('close', () => server.close());
  await server.connect(transport);
  await transport.handleRequest(request, response);
});
